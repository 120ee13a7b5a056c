#define _POSIX_C_SOURCE 200809L
#include "System.h"

#include <iconv.h>
#include <pthread.h>
#include <string.h>
#include <time.h>

static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t changed = PTHREAD_COND_INITIALIZER;

void LockNotes(void) {
  pthread_mutex_lock(&mutex);
}

void UnlockNotes(void) {
  pthread_cond_broadcast(&changed);
  pthread_mutex_unlock(&mutex);
}

bool WaitForNotes(void) {
  struct timespec until;
  clock_gettime(CLOCK_REALTIME, &until);
  until.tv_sec += 30;
  return pthread_cond_timedwait(&changed, &mutex, &until) == 0;
}

const char* Readable(const char* cp950, char* out, size_t size) {
  char* from = (char*)cp950;
  char* to = out;
  size_t left = strlen(cp950);
  size_t room = size - 1;
  iconv_t converter = iconv_open("UTF-8", "CP950");
  if (converter != (iconv_t)-1) {
    iconv(converter, &from, &left, &to, &room);
    iconv_close(converter);
  }
  *to = '\0';
  for (to = out; *to; ++to) {
    if ((unsigned char)*to < 0x20) *to = ' ';
  }
  return out;
}

void PrepareConsole(void) {}
