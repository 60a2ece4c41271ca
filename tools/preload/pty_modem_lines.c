/*
 * Preload library: gives pseudo-terminal slaves the modem lines of a real
 * serial port.
 *
 * Linux pseudo-terminals answer TIOCMGET and TIOCMSET with an error, so a
 * serial driver that insists on raising DTR and RTS refuses them. Loaded with
 * LD_PRELOAD, this library interposes ioctl: on a pseudo-terminal slave the
 * modem-line requests (TIOCMGET, TIOCMSET, TIOCMBIS, TIOCMBIC) read and write
 * a per-device word kept here; everything else, and every other descriptor,
 * goes to the real ioctl. A slave starts with DSR, CTS and CD up, as a port
 * with a live peer would.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>
#include <stdarg.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#define MAX_DEVICES 256
#define INITIAL_LINES (TIOCM_DSR | TIOCM_CTS | TIOCM_CAR)

typedef int (*ioctl_function)(int, unsigned long, ...);

static struct {
  dev_t device;
  int lines;
} devices[MAX_DEVICES];
static int deviceCount;
static pthread_mutex_t devicesLock = PTHREAD_MUTEX_INITIALIZER;

/* UNIX 98 pseudo-terminal slaves have majors 136 to 143. */
static int IsPtySlave(int fd, dev_t* device) {
  struct stat st;
  if (fstat(fd, &st) != 0 || !S_ISCHR(st.st_mode)) return 0;
  unsigned int m = major(st.st_rdev);
  if (m < 136 || m > 143) return 0;
  *device = st.st_rdev;
  return 1;
}

/* The word of a device, created on first use; NULL when the table is full. */
static int* LinesOf(dev_t device) {
  for (int i = 0; i < deviceCount; ++i)
    if (devices[i].device == device) return &devices[i].lines;
  if (deviceCount == MAX_DEVICES) return 0;
  devices[deviceCount].device = device;
  devices[deviceCount].lines = INITIAL_LINES;
  return &devices[deviceCount++].lines;
}

static int ModemLines(dev_t device, unsigned long request, int* argument) {
  pthread_mutex_lock(&devicesLock);
  int* lines = LinesOf(device);
  int result = 0;
  if (!lines || !argument) {
    errno = lines ? EFAULT : ENOMEM;
    result = -1;
  } else if (request == TIOCMGET) {
    *argument = *lines;
  } else if (request == TIOCMSET) {
    *lines = *argument;
  } else if (request == TIOCMBIS) {
    *lines |= *argument;
  } else {
    *lines &= ~*argument;
  }
  pthread_mutex_unlock(&devicesLock);
  return result;
}

__attribute__((visibility("default"))) int ioctl(int fd, unsigned long request, ...) {
  va_list arguments;
  va_start(arguments, request);
  void* argument = va_arg(arguments, void*);
  va_end(arguments);

  dev_t device;
  if ((request == TIOCMGET || request == TIOCMSET || request == TIOCMBIS || request == TIOCMBIC) &&
      IsPtySlave(fd, &device))
    return ModemLines(device, request, (int*)argument);

  static ioctl_function real;
  ioctl_function next = __atomic_load_n(&real, __ATOMIC_ACQUIRE);
  if (!next) {
    void* symbol = dlsym(RTLD_NEXT, "ioctl");
    memcpy(&next, &symbol, sizeof next); /* ISO C has no object-to-function cast */
    __atomic_store_n(&real, next, __ATOMIC_RELEASE);
  }
  if (!next) {
    errno = ENOSYS;
    return -1;
  }
  return next(fd, request, argument);
}
