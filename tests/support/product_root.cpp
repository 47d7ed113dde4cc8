#include "tests/support/product_root.h"

#include "runtime/maro_log.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace corvid::test {
namespace {

constexpr const char* kRootVariable = "CORVIDPRO_ROOT";
constexpr const char* kProductFolder = "Library/Application Support/Fernwick Software/CorvidPro2/";
constexpr const char* kLogName = "CorvidPro-cman.log";
constexpr int kBackups = 10;

[[noreturn]] void refuse(const std::string& what) {
    throw std::runtime_error(what + ": " + std::strerror(errno)); // NOLINT(concurrency-mt-unsafe)
}

std::string temporaryFolder() {
    const char* set = std::getenv("TMPDIR"); // NOLINT(concurrency-mt-unsafe)
    const std::string folder = set != nullptr && set[0] == '/' ? set : "/tmp";
    return std::filesystem::canonical(folder).string();
}

std::string makeFreshFolder() {
    std::string path = temporaryFolder() + "/corvid-XXXXXX";
    if (::mkdtemp(path.data()) == nullptr) {
        refuse("mkdtemp " + path);
    }
    return path;
}

// The length of "<Fri Nov 20 12:05:03 2026> TAB" and the thread field after it; 0 when the line is
// not the first line of a message.
std::size_t prefixLength(std::string_view line) {
    constexpr std::size_t kStampField = 27;
    if (line.size() < kStampField || line[0] != '<' || line.substr(25, 2) != ">\t" ||
        line[14] != ':' || line[17] != ':') {
        return 0;
    }
    std::string_view rest = line.substr(kStampField);
    constexpr std::string_view kThread = "<Thread=";
    if (!rest.starts_with(kThread)) {
        return kStampField;
    }
    const std::size_t end = rest.find(">\t");
    return end == std::string_view::npos ? kStampField : kStampField + end + 2;
}

std::uint64_t contentHash(std::string_view bytes) {
    std::uint64_t hash = 14695981039346656037U;
    for (const char byte : bytes) {
        hash = (hash ^ static_cast<unsigned char>(byte)) * 1099511628211U;
    }
    return hash;
}

std::string describe(const std::string& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
        refuse("lstat " + path);
    }
    std::ostringstream text;
    text << std::oct << "mode " << status.st_mode << std::dec << " changed "
         << status.st_mtim.tv_sec << '.' << status.st_mtim.tv_nsec;
    if (S_ISREG(status.st_mode)) {
        text << " size " << status.st_size << " hash " << std::hex << contentHash(readFile(path));
    } else if (S_ISLNK(status.st_mode)) {
        text << " -> " << std::filesystem::read_symlink(path).string();
    }
    return text.str();
}

// A test may have taken the permission to look inside or to move the directory. Where this fails
// the removal that follows says so.
void allowEverything(int parent, const char* name) {
    [[maybe_unused]] const int result = ::fchmodat(parent, name, 0700, 0);
}

// One directory opened for removing what is in it.
class OpenDirectory {
public:
    OpenDirectory(int parent, const char* name) {
        allowEverything(parent, name);
        const int file = ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        m_stream = file >= 0 ? ::fdopendir(file) : nullptr;
        if (m_stream == nullptr) {
            refuse(std::string("opening for removal ") + name);
        }
    }
    ~OpenDirectory() { ::closedir(m_stream); }
    OpenDirectory(const OpenDirectory&) = delete;
    OpenDirectory& operator=(const OpenDirectory&) = delete;

    [[nodiscard]] int descriptor() const { return ::dirfd(m_stream); }
    [[nodiscard]] std::vector<std::string> names() const {
        std::vector<std::string> names;
        ::rewinddir(m_stream);
        while (const dirent* entry = ::readdir(m_stream)) { // NOLINT(concurrency-mt-unsafe)
            const std::string name = entry->d_name;
            if (name != "." && name != "..") {
                names.push_back(name);
            }
        }
        return names;
    }

private:
    DIR* m_stream = nullptr;
};

bool isDirectory(int parent, const std::string& name) {
    struct stat status {};
    return ::fstatat(parent, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISDIR(status.st_mode);
}

// Empties the directory without going deeper than one level: sub-directories of a sub-directory are
// moved up first, so that neither path length nor open descriptors limit the depth.
void emptyDirectory(const OpenDirectory& top) {
    std::vector<std::string> waiting = top.names();
    unsigned long moved = 0;
    while (!waiting.empty()) {
        const std::string name = waiting.back();
        waiting.pop_back();
        if (!isDirectory(top.descriptor(), name)) {
            static_cast<void>(::unlinkat(top.descriptor(), name.c_str(), 0));
            continue;
        }
        const OpenDirectory inner(top.descriptor(), name.c_str());
        for (const std::string& child : inner.names()) {
            if (!isDirectory(inner.descriptor(), child)) {
                static_cast<void>(::unlinkat(inner.descriptor(), child.c_str(), 0));
                continue;
            }
            allowEverything(inner.descriptor(), child.c_str());
            const std::string lifted = ".removing-" + std::to_string(moved++);
            if (::renameat(inner.descriptor(), child.c_str(), top.descriptor(), lifted.c_str()) !=
                0) {
                refuse("moving up " + child);
            }
            waiting.push_back(lifted);
        }
        static_cast<void>(::unlinkat(top.descriptor(), name.c_str(), AT_REMOVEDIR));
    }
}

// The line and backup counters live as long as the process; a roll-over sets the first, and as many
// as are missing to ten bring the second to 0.
void resetRollOver(const std::string& logFile) {
    writeFile(logFile, "");
    rollMaroLogFile();
    int number = 0;
    while (number < kBackups && !exists(logFile + "." + std::to_string(number) + ".txt")) {
        ++number;
    }
    static_cast<void>(::unlink((logFile + "." + std::to_string(number) + ".txt").c_str()));
    for (int next = number + 1; next < kBackups; ++next) {
        rollMaroLogFile();
    }
}

} // namespace

void writeFile(const std::string& path, std::string_view bytes) {
    makeDirectory(std::filesystem::path(path).parent_path().string());
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) {
        refuse("writing " + path);
    }
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        refuse("reading " + path);
    }
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
}

std::vector<std::string> linesOf(const std::string& path) {
    std::vector<std::string> lines;
    std::istringstream text(readFile(path));
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}

void makeDirectory(const std::string& path) {
    std::filesystem::create_directories(path);
}

bool exists(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0;
}

void removeTree(const std::string& path) {
    if (!isDirectory(AT_FDCWD, path)) {
        static_cast<void>(::unlink(path.c_str()));
        return;
    }
    emptyDirectory(OpenDirectory(AT_FDCWD, path.c_str()));
    if (::rmdir(path.c_str()) != 0) {
        refuse("rmdir " + path);
    }
}

Snapshot snapshot(const std::string& path) {
    Snapshot all{{".", describe(path)}};
    if (!isDirectory(AT_FDCWD, path)) {
        return all;
    }
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path)) {
        all.emplace(entry.path().lexically_relative(path).string(),
                    describe(entry.path().string()));
    }
    return all;
}

ProductRoot::ProductRoot() : m_path(makeFreshFolder()) {
    ::setenv(kRootVariable, m_path.c_str(), 1); // NOLINT(concurrency-mt-unsafe)
    makeDirectory(path("private/tmp"));
    makeDirectory(productFile());
    initializeAndDetermineMaroLogging(kLogName, "/tmp");
    setLoggingEnabled(true);
    setDevLoggingEnabled(false);
    setThreadLoggingEnabled(true);
    resetRollOver(logFile());
}

ProductRoot::~ProductRoot() {
    ::unsetenv(kRootVariable); // NOLINT(concurrency-mt-unsafe)
    try {
        removeTree(m_path);
    } catch (const std::exception& failure) {
        ADD_FAILURE() << failure.what();
    }
}

std::string ProductRoot::path(const std::string& relative) const {
    return m_path + "/" + relative;
}

std::string ProductRoot::productFile(const std::string& name) const {
    return path(kProductFolder + name);
}

std::string ProductRoot::logFile() const {
    return path(std::string("private/tmp/") + kLogName);
}

std::vector<std::string> ProductRoot::logLines() const {
    return exists(logFile()) ? linesOf(logFile()) : std::vector<std::string>{};
}

std::vector<std::string> ProductRoot::logMessages() const {
    std::vector<std::string> messages;
    for (const std::string& line : logLines()) {
        const std::size_t prefix = prefixLength(line);
        if (prefix > 0 || messages.empty()) {
            messages.push_back(line.substr(prefix));
        } else {
            messages.back() += "\n" + line;
        }
    }
    return messages;
}

std::string ProductRoot::logText() const {
    std::string text;
    for (const std::string& message : logMessages()) {
        text += message + "\n";
    }
    return text;
}

::testing::AssertionResult ProductRoot::hasLogged(const std::string& text) const {
    const std::vector<std::string> messages = logMessages();
    if (std::find(messages.begin(), messages.end(), text) != messages.end()) {
        return ::testing::AssertionSuccess() << "the log holds " << ::testing::PrintToString(text);
    }
    return ::testing::AssertionFailure() << "no message equals " << ::testing::PrintToString(text)
                                         << " in " << ::testing::PrintToString(messages);
}

void ProductRoot::clearLog() {
    static_cast<void>(::unlink(logFile().c_str()));
}

} // namespace corvid::test
