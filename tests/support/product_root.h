#pragma once

// A private world for one test: an empty product folder, a log, and the helpers to look at both.

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace corvid::test {

// Each compiler has its own way to tell.
#if !defined(__has_feature)
#define __has_feature(feature) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || __has_feature(address_sanitizer)
inline constexpr bool kAddressSanitizer = true;
#else
inline constexpr bool kAddressSanitizer = false;
#endif
#if defined(__SANITIZE_THREAD__) || __has_feature(thread_sanitizer)
inline constexpr bool kThreadSanitizer = true;
#else
inline constexpr bool kThreadSanitizer = false;
#endif
inline constexpr bool kSanitized = kAddressSanitizer || kThreadSanitizer;

// The helpers below throw std::runtime_error, which fails the test, when the system refuses.

// Writes exactly these bytes; missing folders above the file are created.
void writeFile(const std::string& path, std::string_view bytes);
[[nodiscard]] std::string readFile(const std::string& path);
// The file's lines without their line feeds.
[[nodiscard]] std::vector<std::string> linesOf(const std::string& path);
// Creates the directory and the missing ones above it.
void makeDirectory(const std::string& path);
// Whether something has this name, a link that leads nowhere included.
[[nodiscard]] bool exists(const std::string& path);
// Removes everything below and including the path, of any depth and whatever its permissions; links
// are not followed.
void removeTree(const std::string& path);

// Relative path -> kind, mode, time of the last change and, for a file, size and content hash (for
// a link its target) of everything below the path; "." is the path itself. Equal before and after
// means that nothing was touched; links are not followed.
using Snapshot = std::map<std::string, std::string>;
[[nodiscard]] Snapshot snapshot(const std::string& path);

// Sets a variable of the environment, or unsets it for null, until the end of the scope.
class EnvironmentGuard {
public:
    EnvironmentGuard(const char* name, const char* value) : m_name(name) {
        const char* before = std::getenv(name); // NOLINT(concurrency-mt-unsafe)
        m_wasSet = before != nullptr;
        m_before = m_wasSet ? before : "";
        set(value);
    }
    ~EnvironmentGuard() { set(m_wasSet ? m_before.c_str() : nullptr); }
    EnvironmentGuard(const EnvironmentGuard&) = delete;
    EnvironmentGuard& operator=(const EnvironmentGuard&) = delete;

private:
    void set(const char* value) const {
        if (value != nullptr) {
            ::setenv(m_name, value, 1); // NOLINT(concurrency-mt-unsafe)
        } else {
            ::unsetenv(m_name); // NOLINT(concurrency-mt-unsafe)
        }
        ::tzset();
    }

    const char* m_name;
    bool m_wasSet = false;
    std::string m_before;
};

// A fresh root folder with "private/tmp" and the product's folder, in the environment as
// CORVIDPRO_ROOT, with logging started as the program starts it: the switches at their start
// values, no line counted, the next backup number 0. The end removes the folder and the variable.
// One at a time.
class ProductRoot {
public:
    ProductRoot();
    ~ProductRoot();
    ProductRoot(const ProductRoot&) = delete;
    ProductRoot& operator=(const ProductRoot&) = delete;

    // The absolute path of the root, without a "/" at the end.
    [[nodiscard]] const std::string& path() const { return m_path; }
    // The root, "/" and the relative path.
    [[nodiscard]] std::string path(const std::string& relative) const;
    // The path of a file in the product's folder; of the folder itself, "/" at its end, for no
    // name.
    [[nodiscard]] std::string productFile(const std::string& name = {}) const;

    [[nodiscard]] std::string logFile() const;
    // The lines of the log file, without their line feeds. A message that ends in a line feed is
    // followed by an empty line.
    [[nodiscard]] std::vector<std::string> logLines() const;
    // One text for each logged message, level tag included ("WARNING\tCannot open ..."), exactly as
    // it was logged: line feeds inside or at the end of a message belong to it.
    [[nodiscard]] std::vector<std::string> logMessages() const;
    // The whole log file without its time stamps and thread fields.
    [[nodiscard]] std::string logText() const;
    // Success when one message equals the text, level tag and line feed at the end included; a
    // failure shows the log.
    [[nodiscard]] ::testing::AssertionResult hasLogged(const std::string& text) const;
    // Starts the log anew.
    void clearLog();

private:
    std::string m_path;
};

class ProductTest : public ::testing::Test {
protected:
    ProductRoot root;
};

} // namespace corvid::test
