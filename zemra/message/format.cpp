#include "zemra/message/format.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <optional>

namespace ZEMRA::Vibration {
namespace {

constexpr char kParameterOutOfRange[] =
    "cZmString::formatString(const int nPar, cZmDataParam* paramList[]): Parameter out of "
    "range";

constexpr char kConversions[] = "EGXcdefgiopsux";
constexpr std::size_t kMaxDirective = 63;
constexpr std::size_t kPieceBuffer = 512;

// A number that saturates just above every limit it is compared with.
int ReadNumber(const std::string& text, std::size_t& p) {
    int number = 0;
    for (; p < text.size() && text[p] >= '0' && text[p] <= '9'; ++p)
        number = std::min(number * 10 + (text[p] - '0'), 100'000'000);
    return number;
}

struct Placeholder {
    std::string directive;   // from '%', without a position, to the conversion letter
    char conversion = '\0';  // NUL where the text ended first
    std::optional<int> position;
};

// Reads the placeholder whose '%' stands at p and moves p past it.
Placeholder ReadPlaceholder(const std::string& text, std::size_t& p) {
    Placeholder result;
    std::size_t begin = ++p;
    const int number = ReadNumber(text, p);
    if (p > begin && p < text.size() && text[p] == '$') {
        result.position = number - 1;
        begin = p + 1;
    }
    const std::size_t letter = text.find_first_of(kConversions, begin);
    p = letter == std::string::npos ? text.size() : letter + 1;
    if (letter != std::string::npos) result.conversion = text[letter];
    result.directive = '%';
    result.directive.append(text, begin, p - begin);
    return result;
}

// Only %[-+ #0][width][.precision]letter is handed to the runtime's formatter: anything else
// may name arguments that do not exist. A size beyond the buffer counts only where a piece is
// formatted, not where a string is appended whole.
bool IsSafe(const Placeholder& placeholder) {
    const std::string& s = placeholder.directive;
    if (placeholder.conversion == '\0' || s.size() > kMaxDirective) return false;
    std::size_t p = std::min(s.find_first_not_of("-+ #0", 1), s.size());
    const int width = ReadNumber(s, p);
    const int precision = s[p] == '.' ? ReadNumber(s, ++p) : 0;
    const bool fits = std::max(width, precision) < static_cast<int>(kPieceBuffer);
    return p == s.size() - 1 && (fits || placeholder.conversion == 's');
}

template <typename T>
const T* ValueOf(const DataParam& param) {
    const auto* typed = dynamic_cast<const DataParamT<T>*>(&param);
    return typed ? &typed->Value() : nullptr;
}

std::optional<int> IntegerValue(const DataParam& param) {
    if (const int* i = ValueOf<int>(param)) return *i;
    if (const char* c = ValueOf<char>(param)) return *c;
    return std::nullopt;
}

std::optional<double> RealValue(const DataParam& param) {
    if (const double* d = ValueOf<double>(param)) return *d;
    if (const int* i = ValueOf<int>(param)) return *i;
    return std::nullopt;
}

template <typename T>
std::string Piece(const Placeholder& placeholder, T value) {
    char buffer[kPieceBuffer];
    const int length =
        std::snprintf(buffer, sizeof buffer, placeholder.directive.c_str(), value);
    return length < 0 ? placeholder.directive : std::string(buffer);
}

// The formatted parameter, or nothing when conversion and type do not fit.
std::optional<std::string> FormatParameter(const Placeholder& placeholder,
                                           const DataParam& param) {
    if (!IsSafe(placeholder)) return std::nullopt;
    switch (placeholder.conversion) {
        case 's':
            if (const auto* s = ValueOf<std::string>(param)) return *s;
            return std::nullopt;
        case 'e':
        case 'E':
        case 'f':
        case 'g':
        case 'G':
            if (const auto x = RealValue(param)) return Piece(placeholder, *x);
            return std::nullopt;
        default:
            const auto i = IntegerValue(param);
            if (!i) return std::nullopt;
            if (placeholder.conversion != 'p') return Piece(placeholder, *i);
            return Piece(placeholder, std::bit_cast<const void*>(std::intptr_t{*i}));
    }
}

}  // namespace

std::string Format(const std::string& text,
                   const std::vector<std::unique_ptr<DataParam>>& params) {
    std::string result;
    int n = -1;
    std::size_t p = 0;
    for (std::size_t percent; (percent = text.find('%', p)) != std::string::npos;) {
        result.append(text, p, percent - p);
        p = percent;
        const Placeholder placeholder = ReadPlaceholder(text, p);
        n = placeholder.position.value_or(n + 1);
        if (n < 0 || static_cast<std::size_t>(n) >= params.size())
            throw Error(kParameterOutOfRange);
        if (const auto piece =
                FormatParameter(placeholder, *params[static_cast<std::size_t>(n)]))
            result += *piece;
        else
            result.append("%").append(std::to_string(n)).append("$") += placeholder.directive;
    }
    return result.append(text, p) + "\n";
}

}  // namespace ZEMRA::Vibration
