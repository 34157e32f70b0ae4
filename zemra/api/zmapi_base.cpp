#include "zemra/api/zmapi_base.h"

#include "zemra/message/message.h"

using ZEMRA::Vibration::Message;

ZmAPI::ZmAPI() = default;
ZmAPI::ZmAPI(const ZmAPI&) = default;
ZmAPI& ZmAPI::operator=(const ZmAPI&) = default;
ZmAPI::~ZmAPI() = default;

ZmAPI::MessageHandler ZmAPI::PushMessageHandler(MessageHandler handler, unsigned long long size,
                                                const void* data) {
    return Message::PushHandler(handler, size, data);
}

ZmAPI::MessageHandler ZmAPI::PopMessageHandler() { return Message::PopHandler(); }
