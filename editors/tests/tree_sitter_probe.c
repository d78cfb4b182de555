/* SPDX-License-Identifier: MIT */
/* tree_sitter_probe QUERIES: reads scripts from the standard input, each with a NUL behind it. Prints for
   each a line "error" or "parsed", and one "START END CAPTURE" for each capture of the queries. */
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <tree_sitter/api.h>

const TSLanguage *tree_sitter_ktscript(void);

static char *read_all(FILE *file, size_t *size) {
  char *text = NULL;
  size_t room = 0;
  *size = 0;
  do {
    if (room - *size < 65536) text = realloc(text, room = 2 * room + 65537);
    *size += fread(text + *size, 1, 65536, file);
  } while (!feof(file) && !ferror(file));
  text[*size] = '\0';
  return text;
}

static TSNode node_of(const TSQueryMatch *match, uint32_t capture) {
  for (uint16_t at = 0; at < match->capture_count; ++at) {
    if (match->captures[at].index == capture) return match->captures[at].node;
  }
  return (TSNode){0};
}

/* #any-of? @capture "text" ... is the only predicate. */
static bool holds(const TSQuery *query, const TSQueryMatch *match, const char *text) {
  uint32_t count = 0, length = 0;
  const TSQueryPredicateStep *steps =
      ts_query_predicates_for_pattern(query, match->pattern_index, &count);
  if (count == 0) return true;
  const TSNode node = node_of(match, steps[1].value_id);
  const uint32_t start = ts_node_start_byte(node), size = ts_node_end_byte(node) - start;
  for (uint32_t at = 2; steps[at].type == TSQueryPredicateStepTypeString; ++at) {
    const char *word = ts_query_string_value_for_id(query, steps[at].value_id, &length);
    if (length == size && memcmp(word, text + start, size) == 0) return true;
  }
  return false;
}

static void print_captures(const TSQuery *query, TSNode root, const char *text) {
  TSQueryCursor *cursor = ts_query_cursor_new();
  TSQueryMatch match;
  ts_query_cursor_exec(cursor, query, root);
  while (ts_query_cursor_next_match(cursor, &match)) {
    if (!holds(query, &match, text)) continue;
    for (uint16_t at = 0; at < match.capture_count; ++at) {
      uint32_t length = 0;
      const TSNode node = match.captures[at].node;
      printf("%u %u %u %s\n", ts_node_start_byte(node), ts_node_end_byte(node), match.pattern_index,
             ts_query_capture_name_for_id(query, match.captures[at].index, &length));
    }
  }
  ts_query_cursor_delete(cursor);
}

int main(int argc, char **argv) {
  size_t size = 0;
  uint32_t where = 0;
  TSQueryError error = TSQueryErrorNone;
  TSQuery *query = NULL;
  const TSLanguage *language = tree_sitter_ktscript();
  if (argc > 1) {
    FILE *file = fopen(argv[1], "rb");
    if (file == NULL) return 2;
    char *source = read_all(file, &size);
    fclose(file);
    query = ts_query_new(language, source, (uint32_t)size, &where, &error);
    if (query == NULL) {
      fprintf(stderr, "%s: error %d at byte %u: %.40s\n", argv[1], (int)error, where, source + where);
      return 2;
    }
    free(source);
  }
  char *all = read_all(stdin, &size);
  TSParser *parser = ts_parser_new();
  if (!ts_parser_set_language(parser, language)) return 2;
  for (char *text = all; text < all + size; text += strlen(text) + 1) {
    TSTree *tree = ts_parser_parse_string(parser, NULL, text, (uint32_t)strlen(text));
    const TSNode root = ts_tree_root_node(tree);
    puts(ts_node_has_error(root) ? "error" : "parsed");
    if (query != NULL) print_captures(query, root, text);
    ts_tree_delete(tree);
  }
  ts_parser_delete(parser);
  free(all);
  return 0;
}
