/* A client written in C, for the tests. */
#ifndef TESTS_FLAT_PLAINC_H
#define TESTS_FLAT_PLAINC_H

#include "vekapi/VekApiC.h"

#ifdef __cplusplus
extern "C" {
#endif

struct PlainC {
  CVekClient client;
  int connects;
  int ready;
  int destroyed;
  char first[32]; /* first value of the first table of the last result */
};

bool PlainCOpen(struct PlainC* plain, const char* setting);
bool PlainCAsk(struct PlainC* plain, const char* text);
void PlainCClose(struct PlainC* plain);

#ifdef __cplusplus
}
#endif

#endif
