// INI settings: lookup, typed reads and update by rewriting.
//
// Reads scan the file from the top for each call; writes copy the file to a
// temporary file beside it, changing what has to change on the way. Both
// work in one 512-byte line buffer on the stack and allocate nothing.
#include "orvsys/orv_ini.h"

#include <stdio_ext.h>

#include <cassert>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "internal/numtext.h"
#include "internal/raii.h"
#include "orvsys/orv_safestr.h"

namespace {

using orv::internal::unique_file;

// One INI line: the reads take at most 511 bytes of a line at a time.
constexpr int kIniLineSize = 512;

// Quote modes of save_strncpy.
enum IniQuote { kQuoteNone = 0, kQuoteEnquote = 1, kQuoteDequote = 2 };

constexpr int kTypedValueSize = 64;   // private buffer of the typed reads
constexpr int kBoolValueSize = 2;     // only the first character counts
constexpr size_t kSectionRoom = 508;  // "[" + name + "]\n" fit one line
constexpr size_t kKeyRoom = 509;      // key + "=" leave room for the value
constexpr size_t kKeyLineRoom = 510;  // a written key line, line feed included

// A blank is any byte 1..32; bytes from 128 up never are.
bool is_blank(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte > 0 && byte <= ' ';
}

bool is_comment(char c) { return c == ';' || c == '#'; }

// First byte of str that is zero or not a blank.
char *skipleading(const char *str) {
    assert(str != NULL);
    while (is_blank(*str)) ++str;
    return const_cast<char *>(str);
}

// str moved back over the blanks before it, never before base.
char *skiptrailing(const char *str, const char *base) {
    assert(str != NULL);
    assert(base != NULL);
    while (str > base && is_blank(str[-1])) --str;
    return const_cast<char *>(str);
}

// Ends string behind its last non-blank; returns string.
char *striptrailing(char *string) {
    char *ptr = skiptrailing(std::strchr(string, '\0'), string);
    assert(ptr != NULL);
    *ptr = '\0';
    return string;
}

// Copies at most maxlen bytes, terminator included, in the quote mode.
// dest and source must not overlap; maxlen must be at least 1.
char *save_strncpy(char *dest, const char *source, size_t maxlen, int mode) {
    assert(maxlen > 0);
    assert(dest <= source || dest >= source + maxlen);
    size_t d = 0;
    if (mode == kQuoteEnquote && maxlen >= 3) {
        // A double quote never loses its backslash at the cut.
        dest[d++] = '"';
        for (; *source != '\0' && d < maxlen - 2; ++source) {
            if (*source == '"') {
                if (d >= maxlen - 3) break;
                dest[d++] = '\\';
            }
            dest[d++] = *source;
        }
        assert(d < maxlen);
        dest[d++] = '"';
    } else if (mode == kQuoteDequote) {
        for (; *source != '\0' && d < maxlen - 1; ++source) {
            if ((*source == '"' || *source == '\\') && source[1] == '"') ++source;
            dest[d++] = *source;
        }
    } else {
        // Plain, and quote mode without room for two quotes.
        assert(mode == kQuoteNone || mode == kQuoteEnquote);
        for (; *source != '\0' && d < maxlen - 1; ++source) dest[d++] = *source;
    }
    dest[d] = '\0';
    return dest;
}

// Cuts a comment behind the value, trailing blanks and one pair of outer
// quotes; *quotes is 2 when quotes were removed, else 0.
char *cleanstring(char *string, int *quotes) {
    assert(string != NULL);
    assert(quotes != NULL);
    bool in_quotes = false;
    char *ep = string;
    while (*ep != '\0' && (in_quotes || !is_comment(*ep))) {
        if (*ep == '"') {
            if (ep[1] == '"') {
                ++ep;
            } else {
                in_quotes = !in_quotes;
            }
        } else if (*ep == '\\' && ep[1] == '"') {
            ++ep;
        }
        ++ep;
    }
    assert(ep != NULL && (*ep == '\0' || *ep == ';' || *ep == '#'));
    *ep = '\0';
    striptrailing(string);
    *quotes = kQuoteNone;
    // A lone double quote both begins and ends the text: it is no pair.
    const size_t length = std::strlen(string);
    if (length >= 2 && string[0] == '"' && string[length - 1] == '"') {
        string[length - 1] = '\0';
        ++string;
        *quotes = kQuoteDequote;
    }
    return string;
}

// source with its last character replaced by "~".
void ini_tempname(char *dest, const char *source, size_t maxlen) {
    save_strncpy(dest, source, maxlen, kQuoteNone);
    char *p = std::strchr(dest, '\0');
    assert(p != NULL && p > dest);
    if (p > dest) p[-1] = '~';
}

// 1 when a value must be written in quotes to read back the same.
int check_enquote(const char *Value) {
    assert(Value != NULL);
    if (std::strpbrk(Value, "\";#") != nullptr) return 1;
    const size_t length = std::strlen(Value);
    return length > 0 && Value[length - 1] == ' ' ? 1 : 0;
}

// Every stream of this family lives inside one call on one thread, so the
// per-call stream locking of the C library buys nothing; it is switched off.
unique_file open_stream(const char *filename, const char *mode) {
    unique_file fp(filename, mode);
    if (fp) __fsetlocking(fp.get(), FSETLOCKING_BYCALLER);
    return fp;
}

// The target's long is 32 bits: a wider strtol result beyond that range
// comes back as the 32-bit limit, as the target's strtol gives it.
template <class Long>
int32_t clamp_to_int32(Long value) {
    if constexpr (sizeof(Long) > sizeof(int32_t)) {
        if (value > INT32_MAX) return INT32_MAX;
        if (value < INT32_MIN) return INT32_MIN;
    }
    return static_cast<int32_t>(value);
}

// A line's separator: its first "=", or its first ":" when it has no "=".
char *find_separator(char *line) {
    char *separator = std::strchr(line, '=');
    return separator != nullptr ? separator : std::strchr(line, ':');
}

bool same_name(const char *text, size_t length, const char *name) {
    return length == std::strlen(name) &&
           orv_strncasecmp(text, name, static_cast<uint32_t>(length)) == 0;
}

// For a line whose first character is "[": the "]" that completes the
// header, or null.
char *header_end(char *first) { return std::strchr(first + 1, ']'); }

// A complete header "[name]" whose name is section, without regard to case.
bool is_header_of(char *line, const char *section) {
    char *first = skipleading(line);
    if (*first != '[') return false;
    const char *end = header_end(first);
    return end != nullptr && same_name(first + 1, static_cast<size_t>(end - first - 1), section);
}

// A key line whose name, less the blanks before its separator, is key.
bool is_key_line(char *first, const char *key, char **separator) {
    *separator = find_separator(first);
    if (*separator == nullptr) return false;
    const char *name_end = skiptrailing(*separator, first);
    return same_name(first, static_cast<size_t>(name_end - first), key);
}

// Step 1 of getkeystring: stand behind the header of section, or copy the
// name of the idx-th complete header.
int find_section(FILE *fp, const char *section, int idx, char *line, char *buffer, int size) {
    int count = -1;
    for (;;) {
        if (std::fgets(line, kIniLineSize, fp) == nullptr) return 0;
        char *first = skipleading(line);
        if (*first != '[') continue;
        char *end = header_end(first);
        if (end == nullptr) continue;
        if (idx >= 0) {
            if (++count != idx) continue;
            assert(*end == ']');
            *end = '\0';
            save_strncpy(buffer, first + 1, static_cast<size_t>(size), kQuoteNone);
            return 1;
        }
        if (same_name(first + 1, static_cast<size_t>(end - first - 1), section)) return 1;
    }
}

// Finds key in section (or, with a position of 0 or more, the name of the
// idxSection-th header / idxKey-th key) and copies its value into buffer.
int getkeystring(FILE *fp, const char *section, const char *key, int idxSection, int idxKey,
                 char *buffer, int size) {
    assert(fp != NULL);
    assert(key != NULL || idxKey >= 0);
    char line[kIniLineSize];
    if (idxSection >= 0 || (section != nullptr && *section != '\0')) {
        if (!find_section(fp, section, idxSection, line, buffer, size)) return 0;
        if (idxSection >= 0) return 1;
    }
    int count = -1;
    for (;;) {
        if (std::fgets(line, kIniLineSize, fp) == nullptr) return 0;
        char *first = skipleading(line);
        if (*first == '[') return 0;
        if (is_comment(*first)) continue;
        char *ep = find_separator(first);
        if (ep == nullptr) continue;
        assert(*ep == '=' || *ep == ':');
        if (idxKey >= 0) {
            if (++count != idxKey) continue;
            *skiptrailing(ep, first) = '\0';
            save_strncpy(buffer, first, static_cast<size_t>(size), kQuoteNone);
            return 1;
        }
        if (!same_name(first, static_cast<size_t>(skiptrailing(ep, first) - first), key)) continue;
        int quotes = kQuoteNone;
        const char *value = cleanstring(skipleading(ep + 1), &quotes);
        save_strncpy(buffer, value, static_cast<size_t>(size), quotes);
        return 1;
    }
}

}  // namespace

extern "C" {

ORV_API int32_t orv_ini_get_string(const char *section, const char *key, const char *def,
                                   char *buffer, int32_t size, const char *filename) {
    if (buffer == nullptr || size < 1 || key == nullptr) return 0;
    int found = 0;
    if (filename != nullptr) {
        if (unique_file fp = open_stream(filename, "rb")) {
            found = getkeystring(fp.get(), section, key, -1, -1, buffer, size);
        }
    }
    if (!found) {
        const char *text = def != nullptr ? def : "";
        const size_t room = static_cast<size_t>(size);
        if (buffer > text && buffer < text + room) {
            // A default overlapping the buffer from below: move, don't copy.
            const size_t length = strnlen(text, room - 1);
            std::memmove(buffer, text, length);
            buffer[length] = '\0';
        } else {
            save_strncpy(buffer, text, room, kQuoteNone);
        }
    }
    return static_cast<int32_t>(std::strlen(buffer));
}

ORV_API int32_t orv_ini_get_long(const char *section, const char *key, int32_t def,
                                 const char *filename) {
    char text[kTypedValueSize];
    const int32_t length = orv_ini_get_string(section, key, "", text, sizeof text, filename);
    if (length == 0) return def;
    const int base =
        length >= 2 && std::toupper(static_cast<unsigned char>(text[1])) == 'X' ? 16 : 10;
    return clamp_to_int32(std::strtol(text, nullptr, base));
}

ORV_API uint8_t orv_ini_get_bool(const char *section, const char *key, uint8_t def,
                                 const char *filename) {
    char text[kBoolValueSize];
    orv_ini_get_string(section, key, "", text, sizeof text, filename);
    switch (std::toupper(static_cast<unsigned char>(text[0]))) {
    case 'Y':
    case '1':
    case 'T': return 1;
    case 'N':
    case '0':
    case 'F': return 0;
    default: return def;
    }
}

ORV_API float orv_ini_get_float(const char *section, const char *key, float def,
                                const char *filename) {
    char text[kTypedValueSize];
    if (orv_ini_get_string(section, key, "", text, sizeof text, filename) == 0) return def;
    return static_cast<float>(std::strtod(text, nullptr));
}

}  // extern "C"

// ---- Update by rewriting -------------------------------------------------

namespace {

// "[section]" and a line feed; nothing for a null or empty section.
void writesection(char *buffer, const char *section, FILE *output) {
    if (section == nullptr || *section == '\0') return;
    char *p = buffer;
    assert(p != NULL);
    *p++ = '[';
    save_strncpy(p, section, kSectionRoom, kQuoteNone);
    std::strcat(p, "]\n");
    std::fputs(buffer, output);
}

// "key=value" and a line feed, the value quoted when it needs it.
void writekey(char *buffer, const char *key, const char *value, FILE *output) {
    const int mode = check_enquote(value) ? kQuoteEnquote : kQuoteNone;
    char *p = buffer;
    assert(p != NULL);
    save_strncpy(p, key, kKeyRoom, kQuoteNone);
    p = std::strchr(p, '\0');
    *p++ = '=';
    save_strncpy(p, value, kKeyLineRoom - static_cast<size_t>(p - buffer), mode);
    std::strcat(p, "\n");
    std::fputs(buffer, output);
}

// Counts text into the pending block: 0 when the block would reach maximum.
int cache_add(const char *text, int32_t *pending, int32_t maximum) {
    const size_t length = std::strlen(text);
    if (static_cast<size_t>(*pending) + length >= static_cast<size_t>(maximum)) return 0;
    *pending += static_cast<int32_t>(length);
    return 1;
}

// Writes the pending block, read again from the mark: 1 when it ended in a
// line feed, 0 when it did not or nothing was pending, -1 when a write
// failed or the input no longer holds the counted bytes (it shrank or
// changed under the rewrite), found at once instead of waiting for bytes.
int cache_flush(char *buffer, int32_t *pending, FILE *input, FILE *output, fpos_t *mark) {
    assert(buffer != NULL);
    assert(pending != NULL);
    if (std::fsetpos(input, mark) != 0) return -1;
    buffer[0] = '\0';
    int32_t pos = 0;
    while (pos < *pending) {
        if (std::fgets(buffer + pos, kIniLineSize - pos, input) == nullptr) return -1;
        pos += static_cast<int32_t>(std::strlen(buffer + pos));
    }
    if (pos > *pending) return -1;
    if (buffer[0] != '\0') std::fputs(buffer, output);
    if (std::fgetpos(input, mark) != 0) return -1;
    *pending = 0;
    return pos > 0 && buffer[pos - 1] == '\n' ? 1 : 0;
}

// The old file is removed only once every write to the temporary file is
// known to have reached it; otherwise the temporary file goes and the old
// file stays. If the final rename fails, the new content is kept under the
// temporary name rather than removed with the old file already gone.
int close_and_rename(unique_file input, unique_file output, const char *filename, char *buffer) {
    input.reset();
    const bool written = std::ferror(output.get()) == 0 && output.close();
    ini_tempname(buffer, filename, kIniLineSize);
    if (!written || std::remove(filename) != 0) {
        std::remove(buffer);
        return 0;
    }
    return std::rename(buffer, filename) == 0 ? 1 : 0;
}

// The library's one decimal writer; the lowest value of the type needs no
// negation there either.
void ini_long_to_text(int32_t value, char *buffer) {
    orv::internal::write_decimal(static_cast<uint32_t>(value), buffer, -10);
}

// How a line read for the rewrite came in.
enum class Read { Line, End, Broken };

// The rewrite copies lines with fgets and fputs, which cannot carry a zero
// byte. fgets stops at a line feed or after 511 bytes, so a shorter text
// that ends otherwise holds a zero byte, unless the file ended: then the
// bytes it consumed must match the text. The call refuses such a file
// rather than lose the bytes behind the zero.
Read read_line(char *buffer, FILE *input) {
    const off_t start = ftello(input);
    if (std::fgets(buffer, kIniLineSize, input) == nullptr) {
        return std::ferror(input) ? Read::Broken : Read::End;
    }
    const size_t length = std::strlen(buffer);
    if (length == kIniLineSize - 1 || (length > 0 && buffer[length - 1] == '\n')) return Read::Line;
    if (std::feof(input) && start >= 0 && ftello(input) - start == static_cast<off_t>(length)) {
        return Read::Line;
    }
    return Read::Broken;
}

// One rewrite of a file: the file read, the temporary file written beside
// it, the one line buffer, and the pending block, which is counted but not
// stored (its text stays in the input until a flush reads it again). A
// rewrite that is not committed removes its temporary file.
class Rewrite {
  public:
    Rewrite(unique_file input, unique_file output, char *buffer, const char *filename)
        : input_(std::move(input)),
          output_(std::move(output)),
          buffer_(buffer),
          filename_(filename) {}
    Rewrite(const Rewrite &) = delete;
    Rewrite &operator=(const Rewrite &) = delete;
    ~Rewrite() {
        if (!output_) return;
        input_.reset();
        output_.reset();
        ini_tempname(buffer_, filename_, kIniLineSize);
        std::remove(buffer_);
    }

    // Copies the file with the change made; false when a read or a write
    // failed, or the file cannot be copied faithfully.
    bool run(const char *section, const char *key, const char *value) {
        if (std::fgetpos(in(), &mark_) != 0) return false;
        pending_ = 0;
        if (section != nullptr && *section != '\0') {
            bool at_end = false;
            if (!copy_to_section(section, key, value, &at_end)) return false;
            if (at_end) return true;
        }
        return rewrite_section(key, value);
    }

    // Puts the temporary file in the file's place: 1 on success.
    int32_t commit() {
        return close_and_rename(std::move(input_), std::move(output_), filename_, buffer_);
    }

  private:
    FILE *in() const { return input_.get(); }
    FILE *out() const { return output_.get(); }

    bool flush(int *ended_in_line_feed = nullptr) {
        const int result = cache_flush(buffer_, &pending_, in(), out(), &mark_);
        if (ended_in_line_feed != nullptr) *ended_in_line_feed = result;
        return result >= 0;
    }

    // Adds the line in the buffer to the pending block; when the block is
    // full, writes it out and reads the same line again to start the next.
    bool keep_line() {
        if (cache_add(buffer_, &pending_, kIniLineSize)) return true;
        if (!flush() || read_line(buffer_, in()) != Read::Line) return false;
        return cache_add(buffer_, &pending_, kIniLineSize) == 1;
    }

    // Drops the line just read: only while nothing is pending.
    bool drop_line() {
        assert(pending_ == 0);
        return std::fgetpos(in(), &mark_) == 0;
    }

    // At the end of the file: what is pending goes out, then the new lines,
    // on a line of their own.
    bool append_at_end(const char *section, const char *key, const char *value) {
        int ended_in_line_feed = 0;
        if (!flush(&ended_in_line_feed)) return false;
        if (key == nullptr || value == nullptr) return true;
        if (!ended_in_line_feed) std::fputs("\n", out());
        writesection(buffer_, section, out());
        writekey(buffer_, key, value, out());
        return true;
    }

    // Copies up to and including the header of section (the header left out
    // when the section is being deleted). Sets *at_end when the file ended
    // without it, the new section then written.
    bool copy_to_section(const char *section, const char *key, const char *value, bool *at_end) {
        for (;;) {
            const Read read = read_line(buffer_, in());
            if (read == Read::Broken) return false;
            if (read == Read::End) {
                *at_end = true;
                return append_at_end(section, key, value);
            }
            const bool match = is_header_of(buffer_, section);
            if (!(match && key == nullptr) && !keep_line()) return false;
            if (match) break;
        }
        if (!flush()) return false;
        // The header of the section being deleted.
        if (key == nullptr) return read_line(buffer_, in()) == Read::Line && drop_line();
        return true;
    }

    // Behind the changed place every byte is copied unchanged, so the rest
    // of the file goes across in blocks instead of through the pending
    // count: the same bytes, without reading each line twice.
    bool copy_rest() {
        for (;;) {
            const size_t got = std::fread(buffer_, 1, kIniLineSize, in());
            if (got > 0 && std::fwrite(buffer_, 1, got, out()) != got) return false;
            if (got < static_cast<size_t>(kIniLineSize)) return std::ferror(in()) == 0;
        }
    }

    // Steps through the section to the key, or to the next header; a
    // section being deleted drops every line on the way.
    bool rewrite_section(const char *key, const char *value) {
        for (;;) {
            const Read read = read_line(buffer_, in());
            if (read == Read::Broken) return false;
            if (read == Read::End) return append_at_end(nullptr, key, value);
            char *first = skipleading(buffer_);
            char *separator = nullptr;
            if (key != nullptr && is_key_line(first, key, &separator)) break;
            if (*first == '[') break;
            if (!(key == nullptr ? drop_line() : keep_line())) return false;
        }
        if (!flush()) return false;
        // A replaced key takes the old line's place; a new one goes in front
        // of the next header.
        if (key != nullptr && value != nullptr) writekey(buffer_, key, value, out());
        if (read_line(buffer_, in()) != Read::Line) return false;
        if (*skipleading(buffer_) == '[') {
            cache_add(buffer_, &pending_, kIniLineSize);
        } else if (!drop_line()) {
            return false;
        }
        return flush() && copy_rest();
    }

    unique_file input_;
    unique_file output_;
    char *buffer_;
    const char *filename_;
    fpos_t mark_{};
    int32_t pending_ = 0;
};

// A file the rewrite can replace: its temporary name must differ from it
// and fit the line buffer.
bool valid_target(const char *filename) {
    if (filename == nullptr || *filename == '\0') return false;
    const size_t length = strnlen(filename, kIniLineSize);
    return length < kIniLineSize && filename[length - 1] != '~';
}

// No old file: a new one with the section and the key, if there is a value.
int32_t write_new_file(const char *section, const char *key, const char *value,
                       const char *filename, char *buffer) {
    if (key == nullptr || value == nullptr) return 1;
    unique_file output = open_stream(filename, "wb");
    if (!output) return 0;
    writesection(buffer, section, output.get());
    writekey(buffer, key, value, output.get());
    const bool written = std::ferror(output.get()) == 0;
    if (!output.close() || !written) {
        std::remove(filename);
        return 0;
    }
    return 1;
}

// The key already holds exactly value: nothing to write. Leaves the input
// at the start either way.
bool value_unchanged(FILE *input, const char *section, const char *key, const char *value,
                     char *buffer) {
    fpos_t start;
    if (std::fgetpos(input, &start) != 0) return false;
    const bool same = getkeystring(input, section, key, -1, -1, buffer, kIniLineSize) &&
                      std::strcmp(buffer, value) == 0;
    return std::fsetpos(input, &start) == 0 && same;
}

}  // namespace

extern "C" {

ORV_API int32_t orv_ini_put_string(const char *section, const char *key, const char *value,
                                   const char *filename) {
    if (!valid_target(filename)) return 0;
    char buffer[kIniLineSize];
    unique_file input = open_stream(filename, "rb");
    if (!input) return write_new_file(section, key, value, filename, buffer);
    if (key != nullptr && value != nullptr &&
        value_unchanged(input.get(), section, key, value, buffer)) {
        return 1;
    }
    ini_tempname(buffer, filename, kIniLineSize);
    unique_file output = open_stream(buffer, "wb");
    if (!output) return 0;
    Rewrite rewrite(std::move(input), std::move(output), buffer, filename);
    return rewrite.run(section, key, value) ? rewrite.commit() : 0;
}

ORV_API int32_t orv_ini_put_long(const char *section, const char *key, int32_t value,
                                 const char *filename) {
    char text[32];
    ini_long_to_text(value, text);
    return orv_ini_put_string(section, key, text, filename);
}

ORV_API int32_t orv_ini_put_float(const char *section, const char *key, float value,
                                  const char *filename) {
    char text[kTypedValueSize];
    orv_snprintf(text, sizeof text, "%f", static_cast<double>(value));
    return orv_ini_put_string(section, key, text, filename);
}

}  // extern "C"
