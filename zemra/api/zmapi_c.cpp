#include "zemra/api/zmapi_c.h"

#include "zemra/message/message.h"

using ZEMRA::Vibration::Message;

ZmAPI_MessageHandler ZmAPI_PushMessageHandler(ZmAPI_MessageHandler handler,
                                              unsigned long long size, const void* data) {
    try {
        return Message::PushHandler(handler, size, data);
    } catch (...) {
        return nullptr;
    }
}

ZmAPI_MessageHandler ZmAPI_PopMessageHandler() {
    try {
        return Message::PopHandler();
    } catch (...) {
        return nullptr;
    }
}
