/*
 * qvt: host-side driver of a multi-channel EEG headset. C interface.
 *
 * Errors
 *   No function of this interface lets a library error escape. When a call
 *   fails it records a message as the last error (QVT_Error), calls the error
 *   callback set with QVT_SetErrorCallback (with the message and level 1, on
 *   the calling thread), and returns its failure value: 0 for integers and
 *   flags, 0.0 for reals, NULL for pointers and strings, nothing for void.
 *   Success does not clear the last error: it stays until QVT_ClearError is
 *   called or a later failure replaces it. To test one call, clear the error
 *   first and look at QVT_Error afterwards.
 *
 * Strings
 *   Every string this interface returns, error messages included, lives in a
 *   process-wide ring of 32 slots owned by the library. A returned pointer
 *   stays valid for the next 31 string-returning calls; copy a text you want
 *   to keep. Never free it.
 *
 * Threads
 *   The last error, the error callback and the string ring are shared by the
 *   whole process and are not locked: a client that calls the library from
 *   several threads serialises its calls.
 */
#ifndef QVT_QVT_H
#define QVT_QVT_H

#include <stddef.h>

#if defined(_WIN32)
#define QVT_API __declspec(dllimport)
#elif defined(__GNUC__)
#define QVT_API __attribute__((visibility("default")))
#else
#define QVT_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Receives a message and its level; the return value is ignored. */
typedef int (*QVT_MessageCallback)(const char* message, int level);

/* Does nothing and returns 0: an initialiser for clients that expect one. */
QVT_API int Load_QVT_API(void);

/* The last error message, or NULL when none has been recorded since the last
 * QVT_ClearError. The text lives in the string ring. */
QVT_API const char* QVT_Error(void);

/* Returns the last error (or NULL) and forgets it. */
QVT_API const char* QVT_ClearError(void);

/* Sets the function called with every error message (level 1); NULL removes
 * it. The callback must not call back into a failing path of the library. */
QVT_API void QVT_SetErrorCallback(QVT_MessageCallback callback);

/* Checks the library's build-time assumptions; records an error listing
 * what failed, and does nothing in a correct build. */
QVT_API void QVT_SanityCheck(void);

/* Writes message (an empty line for NULL) to standard error and returns
 * debugLevel; 0 on failure. */
QVT_API int QVT_Console(const char* message, int debugLevel);

/* Sleeps for the given seconds, rounded to the millisecond; a negative
 * duration returns at once. */
QVT_API void QVT_Sleep(double seconds);

/* The bytes as a double-quoted literal: \t, \n, \r and \xHH escapes, or
 * \xHH for every byte when flag is non-zero. NULL on failure. String ring. */
QVT_API const char* QVT_PythonString(const void* buffer, size_t length, int flag);

/* The interface version, "1.20.4". String ring. */
QVT_API const char* QVT_GetAPIVersion(void);

/* The serial port named by the environment variable QVTSerialPort, or ""
 * when it is not set. String ring. */
QVT_API const char* QVT_GetDefaultPort(void);

#ifdef __cplusplus
}
#endif

#endif /* QVT_QVT_H */
