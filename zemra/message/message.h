#pragma once

#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "zemra/message/export.h"

namespace ZEMRA {
namespace Vibration {

/// Abstract base of a message parameter.
class ZM_API DataParam {
  public:
    virtual ~DataParam() = default;
    /// A new heap copy of the same dynamic type, owned by the caller.
    virtual DataParam* Copy() const = 0;

  protected:
    DataParam() = default;
    DataParam(const DataParam&) = default;
    DataParam& operator=(const DataParam&) = default;
};

/// A parameter of type char, int or double, or a std::string for the s conversion.
template <typename T>
class ZM_API DataParamT : public DataParam {
  public:
    explicit DataParamT(T value) : value_(std::move(value)) {}
    DataParamT* Copy() const override { return new DataParamT(*this); }
    T& Value() { return value_; }
    const T& Value() const { return value_; }

  private:
    T value_;
};

/// A diagnostic: a type, a text with printf placeholders and the parameters that fill them.
///
/// Information, warnings and errors reach the host as formatted texts, through the handler on
/// top of a process-wide stack. Inside the library a failure is an Error thrown by value with
/// its parameters attached by <<. Nothing here is locked: use it from one thread at a time.
class ZM_API Message {
  public:
    enum eMSG_TYPE { INFO = 1, WARNING = 2, ERROR = 3 };

    /// Receives a formatted text, its type ('i', 'w' or 'e') and the library's own copy of the
    /// data block that was pushed with the handler.
    typedef void (*Handler)(const char* text, unsigned char type, void* data);

    Message(const char* text, eMSG_TYPE type);
    Message(const std::string& text, eMSG_TYPE type);
    Message(const Message& other);
    Message& operator=(const Message& other);
    virtual ~Message();

    eMSG_TYPE Type() const { return type_; }
    const std::string& Text() const { return text_; }

    /// Attach one more parameter; << does the same and chains.
    void Append(char value);
    void Append(int value);
    void Append(double value);
    void Append(std::unique_ptr<DataParam> param);

    /// Fills the placeholders and returns the text, which ends with a newline.
    ///
    /// A placeholder is %[flags][width][.precision]letter with a letter of "EGXcdefgiopsux", or
    /// the positional %k$…, k counting from 1; sequential ones go on from a positional one.
    ///   d i o u x X c p   an int or a char
    ///   e E f g G         a double or an int
    ///   s                 a std::string, appended whole
    /// A parameter of another type, a placeholder of another form, of more than 63 characters,
    /// or, but for s, with a width or precision above 511 leaves "%n$" (n counting from 0) and
    /// the placeholder in the text. A formatted piece is cut at 511 characters and at a NUL.
    ///
    /// Throws Error "cZmString::formatString(const int nPar, cZmDataParam* paramList[]):
    /// Parameter out of range" (on one line) for a placeholder without a parameter.
    const std::string& FormatString() const;

    /// Formats the message and hands it to the handler on top of the stack. Without one, or
    /// with a null one there, the default handler writes "INFO:" and "WARNING:" blocks to
    /// standard output and "ERROR:" blocks to standard error. What a handler throws passes
    /// through.
    void Print() const;

    /// Pushes a handler with a private copy of the size bytes at data; a null data gives the
    /// handler a one-byte block holding the character '0'. Returns the handler that was on top
    /// before, or null.
    static Handler PushHandler(Handler handler, unsigned long long size, const void* data);
    /// Removes the top handler and frees its block, once it returns when it removes itself.
    /// Returns that handler, or null.
    static Handler PopHandler();

  private:
    eMSG_TYPE type_;
    std::string text_;
    mutable std::string formatted_;
    std::vector<std::unique_ptr<DataParam>> params_;
};

/// A failure. Thrown by value inside the library; a few range errors reach the host.
class ZM_API Error : public Message {
  public:
    explicit Error(const char* text) : Message(text, ERROR) {}
    explicit Error(const std::string& text) : Message(text, ERROR) {}
    Error(const Error&) = default;
    Error& operator=(const Error&) = default;
    ~Error() override;
};

/// A condition that is reported where it arises and does not interrupt the computation.
class ZM_API Warning : public Message {
  public:
    explicit Warning(const char* text) : Message(text, WARNING) {}
    Warning(const Warning&) = default;
    Warning& operator=(const Warning&) = default;
    ~Warning() override;
};

/// The argument's own type, when it is a Message or derived from it.
template <typename M>
using IfMessage =
    typename std::enable_if<std::is_base_of<Message, typename std::decay<M>::type>::value,
                            M&&>::type;

// These return what they were given: `throw Error(text) << k` throws an Error, where a result
// typed as the base would be sliced.
template <typename M>
IfMessage<M> operator<<(M&& message, char value) {
    message.Append(value);
    return std::forward<M>(message);
}
template <typename M>
IfMessage<M> operator<<(M&& message, int value) {
    message.Append(value);
    return std::forward<M>(message);
}
template <typename M>
IfMessage<M> operator<<(M&& message, double value) {
    message.Append(value);
    return std::forward<M>(message);
}

}  // namespace Vibration
}  // namespace ZEMRA
