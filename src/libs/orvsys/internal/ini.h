// Text and file helpers of the INI family: shared by its reads and its
// rewrite, reachable by the unit tests through the static build.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

// One INI line: the reads take at most 511 bytes of a line at a time.
constexpr int kIniLineSize = 512;

// Quote modes of save_strncpy.
enum IniQuote { kQuoteNone = 0, kQuoteEnquote = 1, kQuoteDequote = 2 };

// First byte of str that is zero or not a blank (a blank is a byte 1..32).
char *skipleading(const char *str);
// str moved back over the blanks before it, never before base.
char *skiptrailing(const char *str, const char *base);
// Ends string behind its last non-blank; returns string.
char *striptrailing(char *string);
// Copies at most maxlen bytes, terminator included, in the quote mode.
// dest and source must not overlap; maxlen must be at least 1.
char *save_strncpy(char *dest, const char *source, size_t maxlen, int mode);
// Cuts a comment behind the value, trailing blanks and one pair of outer
// quotes; *quotes is 2 when quotes were removed, else 0.
char *cleanstring(char *string, int *quotes);
// Finds key in section (or, with a position of 0 or more, the name of the
// idxSection-th header / idxKey-th key) and copies its value into buffer.
int getkeystring(FILE *fp, const char *section, const char *key, int idxSection, int idxKey,
                 char *buffer, int size);
// source with its last character replaced by "~".
void ini_tempname(char *dest, const char *source, size_t maxlen);
// 1 when a value must be written in quotes to read back the same.
int check_enquote(const char *Value);

// The rewrite's pieces.
void writesection(char *buffer, const char *section, FILE *output);
void writekey(char *buffer, const char *key, const char *value, FILE *output);
int cache_add(const char *text, int32_t *pending, int32_t maximum);
// 1 when the flushed text ended in a line feed, 0 when it did not or nothing
// was pending, -1 when the input no longer holds the pending bytes (it
// changed under the rewrite) or a write failed.
int cache_flush(char *buffer, int32_t *pending, FILE *input, FILE *output, fpos_t *mark);
// Replaces filename by the temporary file once every write is known to have
// succeeded; 1 on success, 0 with the old file in place otherwise.
int close_and_rename(FILE *input, FILE *output, const char *filename, char *buffer);
void ini_long_to_text(int32_t value, char *buffer);
void ini_reverse_text(char *text);
