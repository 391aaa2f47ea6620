/* SPDX-License-Identifier: MIT */
#include "words.h"

#include <ctype.h>
#include <stdio.h>

int next_word(char *buffer, size_t size) {
  int unused_on_purpose; /* so that there is a warning to count */
  size_t n = 0;
  int c;
  while ((c = getchar()) != EOF && !isalpha(c)) {
  }
  for (; c != EOF && isalpha(c); c = getchar()) {
    if (n + 1 < size) buffer[n++] = (char)tolower(c);
  }
  buffer[n] = '\0';
  return n > 0;
}
