#pragma once

#include "zemra/message/export.h"

/// Base of the interface classes. They are values: each owns its core object, and a copy
/// shares nothing with its source. Use the library from one thread at a time.
class ZM_API ZmAPI {
  public:
    /// Receives a formatted message, its type ('i' information, 'w' warning, 'e' error) and
    /// the library's own copy of the data pushed with the handler.
    typedef void (*MessageHandler)(const char* text, unsigned char type, void* data);

    ZmAPI(const ZmAPI&);
    ZmAPI& operator=(const ZmAPI&);
    virtual ~ZmAPI();

    /// Pushes a handler and a copy of the size bytes at data on the process-wide stack; the
    /// top one receives every message. Null data gives it a one-byte block holding '0'.
    /// Returns the handler that was on top before, or null.
    static MessageHandler PushMessageHandler(MessageHandler handler, unsigned long long size,
                                             const void* data);
    /// Removes the top handler, frees its block and returns it; null on an empty stack. With
    /// no handler, messages go to standard output and standard error.
    static MessageHandler PopMessageHandler();

    /// What the library is, for a host's about box: texts of the library, the same pointer at
    /// every call. "    Version:    2006.0.0" and "Patch Version:      None", each 24
    /// characters with the blanks that align them; and a notice of five lines framed by
    /// asterisks.
    static const char* GetVersionString();
    static const char* GetPatchString();
    static const char* GetCopyrightString();

  protected:
    ZmAPI();
};
