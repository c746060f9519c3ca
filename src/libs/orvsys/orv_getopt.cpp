// The short-option scanner.
#include "orvsys/orv_getopt.h"

#include <cstdio>
#include <cstring>

namespace {

// The position inside the current word; null between words.
const char *g_cursor = nullptr;

}  // namespace

extern "C" {

ORV_API char *orv_optarg = nullptr;
ORV_API int32_t orv_optind = 0;

ORV_API void orv_getopt_init(void) { g_cursor = nullptr; }

ORV_API int orv_getopt(int argc, char *const argv[], const char *optstring) {
    orv_optarg = nullptr;
    if (g_cursor == nullptr || *g_cursor == '\0') {
        if (orv_optind == 0) orv_optind = 1;  // leave out the program's name
        if (orv_optind >= argc) return -1;
        const char *word = argv[orv_optind];
        if (word[0] != '-' || word[1] == '\0') return -1;  // stays on that word
        ++orv_optind;
        if (std::strcmp(word, "--") == 0) return -1;  // consumed
        g_cursor = word + 1;
    }
    const auto option = static_cast<unsigned char>(*g_cursor++);
    const char *entry = std::strchr(optstring, option);
    if (entry == nullptr || option == ':') {
        std::printf("%s: unknown option -%c\n", argv[0], option);
        return '?';
    }
    if (entry[1] != ':') return option;
    if (*g_cursor != '\0') {
        orv_optarg = const_cast<char *>(g_cursor);
        g_cursor = nullptr;
        return option;
    }
    if (orv_optind < argc) {
        orv_optarg = argv[orv_optind++];
        return option;
    }
    std::printf("%s: -%c argument missing\n", argv[0], option);
    return '?';
}

}  // extern "C"
