#include "zemra/message/message.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <variant>

#include "tests/support/captured_messages.h"
#include "tests/support/error_text.h"

namespace ZEMRA::Vibration::tests {
namespace {

using testing::ElementsAre;
using testing::Pair;

using Params = std::vector<std::variant<char, int, double, std::string>>;

std::string Formatted(const std::string& text, const Params& params) {
    Message m(text, Message::INFO);
    const auto append = [&](auto v) { m.Append(std::make_unique<DataParamT<decltype(v)>>(v)); };
    for (const auto& param : params) std::visit(append, param);
    return m.FormatString();
}

TEST(MessageFormat, FillsPlaceholdersAndMarksWhatTheRuntimeFormatterMustNotSee) {
    const std::string long600(600, 'a'), dash61(61, '-'), zero509(509, '0'), blank510(510, ' ');
    const struct {
        std::string text;
        Params params;
        std::string expected;
    } table[] = {
        {"", {}, ""},
        {"bad\n   Val: (%17.12g)", {2.5}, "bad\n   Val: (              2.5)"},
        {"%2$d %d %1$d %d", {1, 2, 3}, "2 3 1 2"},  // the sequence goes on from a position
        {"%d%i %o%u %x%X %c%c", {'A', -2, 8, 7, 255, 255, 65, 'B'}, "65-2 107 ffFF AB"},
        {"%e %E %.1f %g %G", {1.5, 2.5, 2, 3, 1e-9}, "1.500000e+00 2.500000E+00 2.0 3 1E-09"},
        {"%-3d|%+.3d|% 05d|%#x|%.f|%p", {7, 7, 7, 7, 7.0, 7}, "7  |+007| 0007|0x7|7|0x7"},
        {"%s %600.1s", {long600, std::string("b")}, long600 + " b"},
        {"%511d %.511f", {7, 1.0}, blank510 + "7 1." + zero509},  // a piece is cut at 511
        {"%" + dash61 + "d %-" + dash61 + "d", {7, 7}, "7 %1$%-" + dash61 + "d"},
        {"%d %5.2f|%s|%g", {2.5, 'c', 2, std::string("x")}, "%0$%d %1$%5.2f|%2$%s|%3$%g"},
        {"%ld|%*d|%5.3.1f|%$d", {1, 2, 3.0, 4}, "%0$%ld|%1$%*d|%2$%5.3.1f|%3$%$d"},
        {"%600d|%.600f|%1$2$d", {1, 2.0}, "%0$%600d|%1$%.600f|%0$%2$d"},
        {"50%% of %d %", {1, 2, 3}, "50%0$%% of 2 %2$%"},  // the first letter is the o
        {"%n of %1$-5.", {1}, "%0$%n of %0$%-5."}};
    for (const auto& [text, params, expected] : table)
        EXPECT_EQ(Formatted(text, params), expected + "\n");
}

TEST(MessageFormat, RefusesAPlaceholderWithoutItsParameter) {
    for (const char* text :
         {"%d %", "%1$d %d", "%0$d", "%2$d", "%4294967297$d", "%99999999999999$d"})
        EXPECT_EQ(ErrorText([&] { Formatted(text, {1}); }),
                  "cZmString::formatString(const int nPar, cZmDataParam* paramList[]): "
                  "Parameter out of range\n");
}

TEST(Message, ThrownWithParametersIsStillAnErrorAndKeepsTheirOrder) {
    EXPECT_EQ(ErrorText([] { throw Error("%d %c %g") << 3 << 'x' << 2.5; }), "3 x 2.5\n");
}

TEST(Message, CopiesAndAssignmentsOwnTheirParameters) {
    auto first = std::make_unique<DataParamT<int>>(1);
    int& value = first->Value();
    Message source("%d of %d", Message::WARNING), assigned("%d", Message::INFO);
    source.Append(std::move(first));
    source << 2;
    const Message copied(source), &same = assigned;
    EXPECT_EQ((assigned << 7).FormatString(), "7\n");
    assigned = source;
    assigned = same;
    value = 8;
    EXPECT_EQ(source.FormatString(), "8 of 2\n");
    for (const Message* copy : {&copied, &same}) {
        EXPECT_EQ(copy->FormatString(), "1 of 2\n");
        EXPECT_EQ(copy->Type(), Message::WARNING);
    }
}

TEST(Message, ReachesTheHandlerWithItsTypeCharacter) {
    CapturedMessages messages;
    (Message("%c", Message::INFO) << 'a').Print();
    (Warning("%d") << 2).Print();
    Error(std::string("c")).Print();
    EXPECT_THROW(Error("%d").Print(), Error);  // which is not delivered
    EXPECT_THAT(messages.Take(),
                ElementsAre(Pair('i', "a\n"), Pair('w', "2\n"), Pair('e', "c\n")));
}

// Keeps its name, the first character of its data and the text.
std::string received;
template <char name>
void Keep(const char* text, unsigned char, void* data) {
    received = std::string{name, *static_cast<char*>(data)} + text;
}
void PopThenKeep(const char* text, unsigned char type, void* data) {
    Message::PopHandler();
    Keep<'P'>(text, type, data);
}
void Throw(const char*, unsigned char, void*) { throw std::runtime_error("host"); }

std::string Received() {
    Message("!", Message::INFO).Print();
    return received;
}

TEST(HandlerStack, CallsTheTopHandlerWithItsOwnCopyOfTheData) {
    char block = 'x';
    EXPECT_EQ(Message::PushHandler(Keep<'A'>, 1, &block), nullptr);
    block = 'y';
    EXPECT_EQ(Message::PushHandler(Keep<'B'>, 1, &block), &Keep<'A'>);
    EXPECT_EQ(Message::PushHandler(PopThenKeep, 1, &block), &Keep<'B'>);
    block = 'z';
    EXPECT_EQ(Received(), "Py!\n");
    EXPECT_EQ(Received(), "By!\n");
    EXPECT_EQ(Message::PopHandler(), &Keep<'B'>);
    EXPECT_EQ(Received(), "Ax!\n");
    EXPECT_EQ(Message::PushHandler(Keep<'C'>, 1000, nullptr), &Keep<'A'>);
    EXPECT_EQ(Received(), "C0!\n");
    EXPECT_EQ(Message::PushHandler(Throw, 0, nullptr), &Keep<'C'>);
    EXPECT_THROW(Received(), std::runtime_error);
    EXPECT_EQ(Message::PopHandler(), &Throw);
    EXPECT_EQ(Message::PopHandler(), &Keep<'C'>);
    EXPECT_EQ(Message::PopHandler(), &Keep<'A'>);
    EXPECT_EQ(Message::PopHandler(), nullptr);
}

// Runs in a process of its own, where nothing has been printed yet.
TEST(DefaultHandlerDeathTest, WritesItsBannerOnceAndErrorsToStandardError) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            testing::internal::CaptureStdout();
            Message("one", Message::INFO).Print();
            Error("two").Print();
            Message::PushHandler(nullptr, 0, nullptr);
            Warning("three").Print();
            std::cerr << "[" << testing::internal::GetCapturedStdout() << "]";
            std::exit(0);
        },
        testing::ExitedWithCode(0),
        testing::Eq("ERROR:\n   two\n\n[INFO\nNo message handler has been set to for "
                    "ZEMRA/Vibration. Using default.\n"
                    "INFO:\n   one\n\nWARNING:\n   three\n\n]"));
}

}  // namespace
}  // namespace ZEMRA::Vibration::tests
