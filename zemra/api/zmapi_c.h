#ifndef ZEMRA_API_ZMAPI_C_H
#define ZEMRA_API_ZMAPI_C_H

#include "zemra/message/export.h"

/* The plain entry points. They compile as C, and no exception leaves them. */

#ifdef __cplusplus
extern "C" {
#endif

/** Receives a formatted message, its type ('i' information, 'w' warning, 'e' error) and the
    library's own copy of the data pushed with the handler. */
typedef void (*ZmAPI_MessageHandler)(const char* text, unsigned char type, void* data);

/** Pushes a handler and a copy of the size bytes at data on the process-wide stack; null data
    gives it a one-byte block holding '0'. Returns the handler that was on top before, or null;
    null, with nothing pushed, when memory is short. */
ZM_API ZmAPI_MessageHandler ZmAPI_PushMessageHandler(ZmAPI_MessageHandler handler,
                                                     unsigned long long size, const void* data);

/** Removes the top handler, frees its block and returns it; null on an empty stack. */
ZM_API ZmAPI_MessageHandler ZmAPI_PopMessageHandler(void);

/** The release identifier, "2014.0.0-CL289716": a text of the library. */
ZM_API const char* vibration_build_version(void);

/** Writes to standard output how the library was built and returns the release identifier: a
    line break, one line each for the operating system, the date, the release and the options
    of each language's compiler, each after a line break, and a final line break. The lines
    begin with the mark by which the tool what(1) finds them in a binary. */
ZM_API const char* vibration_version(void);

#ifdef __cplusplus
}
#endif

#endif /* ZEMRA_API_ZMAPI_C_H */
