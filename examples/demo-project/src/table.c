/* SPDX-License-Identifier: MIT */
#include "words.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static size_t slot_of(const char *word) {
  size_t hash = 5381;
  for (; *word; ++word) hash = hash * 33 + (unsigned char)*word;
  return hash % TABLE_SIZE;
}

void table_add(struct table *table, const char *word) {
  struct entry **place = &table->slots[slot_of(word)];
  for (struct entry *entry = *place; entry; entry = entry->next) {
    if (strcmp(entry->word, word) == 0) {
      ++entry->count;
      return;
    }
  }
  struct entry *entry = malloc(sizeof *entry);
  if (!entry) abort();
  entry->word = strdup(word);
  entry->count = 1;
  entry->next = *place;
  *place = entry;
  ++table->distinct;
}

static int by_count(const void *a, const void *b) {
  const struct entry *left = *(const struct entry *const *)a;
  const struct entry *right = *(const struct entry *const *)b;
  if (left->count != right->count) return left->count < right->count ? 1 : -1;
  return strcmp(left->word, right->word);
}

size_t table_print_top(const struct table *table, size_t most) {
  const struct entry **all = malloc((table->distinct + 1) * sizeof *all);
  if (!all) abort();
  size_t n = 0;
  for (size_t i = 0; i < TABLE_SIZE; ++i)
    for (const struct entry *entry = table->slots[i]; entry; entry = entry->next) all[n++] = entry;
  qsort(all, n, sizeof *all, by_count);
  for (size_t i = 0; i < n && i < most; ++i) printf("%6zu %s\n", all[i]->count, all[i]->word);
  free(all);
  return n;
}

void table_free(struct table *table) {
  for (size_t i = 0; i < TABLE_SIZE; ++i) {
    for (struct entry *entry = table->slots[i]; entry;) {
      struct entry *next = entry->next;
      free(entry->word);
      free(entry);
      entry = next;
    }
  }
}
