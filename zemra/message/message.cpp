#include "zemra/message/message.h"

#include "zemra/message/format.h"
#include "zemra/message/handler_stack.h"

namespace ZEMRA::Vibration {

Message::Message(const char* text, eMSG_TYPE type) : type_(type), text_(text ? text : "") {}

Message::Message(const std::string& text, eMSG_TYPE type) : type_(type), text_(text) {}

Message::Message(const Message& other) : type_(other.type_), text_(other.text_) {
    params_.reserve(other.params_.size());
    for (const auto& param : other.params_) params_.emplace_back(param->Copy());
}

Message& Message::operator=(const Message& other) {
    if (this == &other) return *this;
    Message copy(other);
    type_ = copy.type_;
    text_.swap(copy.text_);
    formatted_.clear();
    params_.swap(copy.params_);
    return *this;
}

Message::~Message() = default;
Error::~Error() = default;
Warning::~Warning() = default;

void Message::Append(char value) {
    params_.push_back(std::make_unique<DataParamT<char>>(value));
}
void Message::Append(int value) { params_.push_back(std::make_unique<DataParamT<int>>(value)); }
void Message::Append(double value) {
    params_.push_back(std::make_unique<DataParamT<double>>(value));
}
void Message::Append(std::unique_ptr<DataParam> param) {
    if (param) params_.push_back(std::move(param));
}

const std::string& Message::FormatString() const {
    formatted_.clear();
    formatted_ = Format(text_, params_);
    return formatted_;
}

void Message::Print() const {
    const unsigned char type = type_ == INFO ? 'i' : type_ == WARNING ? 'w' : 'e';
    const std::string text = FormatString();  // a handler may format this message again
    HandlerStack::Instance().Deliver(text.c_str(), type);
}

Message::Handler Message::PushHandler(Handler handler, unsigned long long size,
                                      const void* data) {
    return HandlerStack::Instance().Push(handler, size, data);
}

Message::Handler Message::PopHandler() { return HandlerStack::Instance().Pop(); }

}  // namespace ZEMRA::Vibration
