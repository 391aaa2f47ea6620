/* SPDX-License-Identifier: MIT */
#include "words.h"

#include <stdio.h>

int main(void) {
  static struct table table;
  char word[64];
  while (next_word(word, sizeof word)) table_add(&table, word);
  printf("%zu different words\n", table_print_top(&table, 5));
  table_free(&table);
  return 0;
}
