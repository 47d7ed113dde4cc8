#pragma once

// What the fuzz targets share: a product folder of their own, files made of the fuzzer's bytes, and
// texts that show everything a store holds, so that what it held before and after a Commit can be
// compared.

#include "store/PISSFileUtilities.h"
#include "store/product_paths.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

// The sanitizer asks for its options here. Freed memory is kept only for a while, and whose
// it was is not written down in full: a target that runs millions of times would otherwise spend
// most of its time with it. A finding is run again with ASAN_OPTIONS=malloc_context_size=30.
extern "C" [[gnu::used]] inline const char* __asan_default_options() {
    return "quarantine_size_mb=4:thread_local_quarantine_size_kb=64:max_malloc_fill_size=0:"
           "malloc_context_size=1";
}

namespace corvid::fuzz {

// Ends the process, which is how a target reports a finding.
inline void require(bool holds, const char* rule) {
    if (!holds) {
        std::fprintf(stderr, "Broken: %s\n", rule);
        std::abort();
    }
}

inline void requireEqual(std::string_view before, std::string_view after, const char* rule) {
    if (before != after) {
        std::fprintf(stderr, "Broken: %s\n-- before\n%s-- after\n%s", rule,
                     std::string(before).c_str(), std::string(after).c_str());
        std::abort();
    }
}

// The directory below which this process keeps its files: a new one in CORVIDPRO_ROOT, or in memory
// when that is not set, removed when the process ends. CORVIDPRO_ROOT then names it, and it holds
// the product's folder.
class ScratchRoot {
public:
    static const std::string& path() {
        static const ScratchRoot root;
        return root.m_path;
    }
    ScratchRoot(const ScratchRoot&) = delete;
    ScratchRoot& operator=(const ScratchRoot&) = delete;

private:
    ScratchRoot() {
        const char* given = std::getenv("CORVIDPRO_ROOT"); // NOLINT(concurrency-mt-unsafe)
        m_path = std::string(given != nullptr && *given != '\0' ? given : "/dev/shm") +
                 "/corvid-fuzz.XXXXXX";
        require(::mkdtemp(m_path.data()) != nullptr, "a directory can be made");
        ::setenv("CORVIDPRO_ROOT", m_path.c_str(), 1); // NOLINT(concurrency-mt-unsafe)
        std::filesystem::create_directories(productPath(assignCorvidProRootConfigDirectoryPath));
    }
    ~ScratchRoot() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    std::string m_path;
};

inline void writeFile(const std::string& path, const void* bytes, std::size_t size) {
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    require(file >= 0 && ::write(file, bytes, size) == static_cast<ssize_t>(size),
            "the input can be written");
    ::close(file);
}

// Everything that a list of entries holds, one entry a line; texts are told apart by a byte that no
// entry holds.
class Listing {
public:
    void add(const char* text) { m_text.append(text != nullptr ? text : "\x01").append(1, '\0'); }
    void add(int number) { m_text.append(std::to_string(number)).append(1, '\0'); }
    // An entry that nearly fills a line may be longer once it is written in the usual form, and is
    // then left out of the file; such entries are not compared.
    void endEntry() {
        constexpr std::size_t kSurelyFits = 1000;
        if (m_text.size() - m_entry > kSurelyFits) {
            m_text.resize(m_entry);
        } else {
            m_text.append(1, '\n');
        }
        m_entry = m_text.size();
    }
    const std::string& text() const { return m_text; }

private:
    std::string m_text;
    std::size_t m_entry = 0; // where the present one begins
};

} // namespace corvid::fuzz
