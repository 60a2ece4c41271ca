/* The public header compiles as C99, and its functions link and run from C. */
#include <stdio.h>
#include <string.h>

#include "qvt/qvt.h"

static int callbackCalls;

static int CountingCallback(const char* message, int level) {
  (void)message;
  (void)level;
  ++callbackCalls;
  return 0;
}

int main(void) {
  const unsigned char bytes[2] = {0x41, 0x0A};
  QVT_MessageCallback callback = CountingCallback;
  int failures = 0;

  QVT_SetErrorCallback(callback);
  failures += Load_QVT_API() != 0;
  failures += strcmp(QVT_GetAPIVersion(), "1.20.4") != 0;
  failures += strcmp(QVT_PythonString(bytes, sizeof bytes, 0), "\"A\\n\"") != 0;
  failures += QVT_GetDefaultPort() == NULL;
  QVT_SanityCheck();
  QVT_Sleep(0.0);
  failures += QVT_Error() != NULL;
  failures += QVT_ClearError() != NULL;
  failures += callbackCalls != 0;
  QVT_SetErrorCallback(NULL);
  if (failures) fprintf(stderr, "%d checks failed\n", failures);
  return failures != 0;
}
