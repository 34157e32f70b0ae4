// Messages of any text and parameters: formatted, copied, assigned, thrown and printed.

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/byte_stream.h"
#include "fuzz/quiet_host.h"
#include "fuzz/target.h"
#include "zemra/message/message.h"

namespace {

using Fuzz::ByteStream;
using ZEMRA::Vibration::DataParamT;
using ZEMRA::Vibration::Error;
using ZEMRA::Vibration::Message;
using ZEMRA::Vibration::Warning;

Message Compose(ByteStream& in) {
    Message::eMSG_TYPE type = Message::INFO;
    switch (in.Choice(4)) {
        case 1:
            type = Message::WARNING;
            break;
        case 2:
            type = Message::ERROR;
            break;
        case 3:
            type = static_cast<Message::eMSG_TYPE>(in.Choice(4));
            break;
        default:
            break;
    }
    std::vector<std::pair<int, double>> numbers;
    std::vector<std::string> texts;
    for (int n = in.Choice(5); n > 0; --n) {
        numbers.emplace_back(in.Choice(4), in.Number());
        texts.push_back(numbers.back().first == 3 ? in.Text(40) : std::string());
    }
    Message message = in.Flag() ? Message(in.Rest(), type) : Message(in.Rest().c_str(), type);
    for (std::size_t k = 0; k < numbers.size(); ++k) {
        const auto bits = std::bit_cast<std::uint64_t>(numbers[k].second);
        if (numbers[k].first == 0)
            message << static_cast<int>(bits >> 32);
        else if (numbers[k].first == 1)
            message << static_cast<char>(bits >> 56);
        else if (numbers[k].first == 2)
            message << numbers[k].second;
        else
            message.Append(std::make_unique<DataParamT<std::string>>(texts[k]));
    }
    return message;
}

std::optional<std::string> Formatted(const Message& message) {
    try {
        return message.FormatString();
    } catch (const Error& error) {
        if (error.Text().find("Parameter out of range") == std::string::npos)
            Fuzz::Broken("formatting fails for want of a parameter only");
        return std::nullopt;
    }
}

}  // namespace

std::uint64_t Fuzz::Play(const std::uint8_t* data, std::size_t size) {
    const QuietHost host;
    Digest digest;
    ByteStream in(data, size);
    const Message message = Compose(in);
    const std::optional<std::string> text = Formatted(message);
    digest.Add(text.value_or("-"));
    if (text && (text->empty() || text->back() != '\n')) Broken("a formatted text ends a line");
    if (text && message.Text().find('%') == std::string::npos && *text != message.Text() + "\n")
        Broken("a text without placeholders is kept");

    Message copy = message, other("%s", Message::INFO);
    other = copy;
    copy = *&copy;
    if (Formatted(copy) != text || Formatted(other) != text) Broken("a copy formats alike");
    if (text) {
        other.Print();
        if (host.LastText() != text->c_str()) Broken("the handler is handed the text");
    }
    try {
        throw Error(message.Text()) << 1 << 'c' << 2.5;
    } catch (const Error& error) {
        digest.Add(Formatted(error).value_or("-"));
    }
    return digest.Value();
}
