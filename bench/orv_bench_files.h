// Whole-file helpers for the benchmarks that set up and check files.
#pragma once

#include <cstdio>
#include <string>

namespace orv_bench {

inline bool write_file(const std::string &path, const std::string &text)
{
    FILE *fp = std::fopen(path.c_str(), "wb");
    if (fp == nullptr)
        return false;
    const bool written = std::fwrite(text.data(), 1, text.size(), fp) == text.size();
    return std::fclose(fp) == 0 && written;
}

// False when the file cannot be opened (e.g. does not exist) or read.
inline bool read_file(const std::string &path, std::string *text)
{
    FILE *fp = std::fopen(path.c_str(), "rb");
    if (fp == nullptr)
        return false;
    text->clear();
    char block[4096];
    std::size_t n;
    while ((n = std::fread(block, 1, sizeof block, fp)) > 0)
        text->append(block, n);
    const bool ok = std::ferror(fp) == 0;
    std::fclose(fp);
    return ok;
}

} // namespace orv_bench
