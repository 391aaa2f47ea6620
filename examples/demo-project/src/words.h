/* SPDX-License-Identifier: MIT */
#ifndef WORDS_H
#define WORDS_H
#include <stddef.h>

struct entry {
  char* word;
  size_t count;
  struct entry* next;
};

enum { TABLE_SIZE = 1021 };
struct table {
  struct entry* slots[TABLE_SIZE];
  size_t distinct;
};

void table_add(struct table* table, const char* word);
size_t table_print_top(const struct table* table, size_t most);
void table_free(struct table* table);
int next_word(char* buffer, size_t size);
#endif
