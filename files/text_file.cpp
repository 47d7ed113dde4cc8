#include "files/text_file.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace corvid {

namespace {

bool writeAll(int file, const char* text, std::size_t length, off_t offset) {
    while (length > 0) {
        const ssize_t written = ::pwrite(file, text, length, offset);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        text += written;
        offset += written;
        length -= static_cast<std::size_t>(written);
    }
    return true;
}

bool cutTo(int file, std::size_t length) {
    int result = 0;
    do {
        result = ::ftruncate(file, static_cast<off_t>(length));
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

// Nothing when the file cannot be read to its end.
std::optional<std::string> contentsOf(int file) {
    std::string text;
    char chunk[16384];
    for (;;) {
        const ssize_t length = ::pread(file, chunk, sizeof(chunk), static_cast<off_t>(text.size()));
        if (length < 0 && errno == EINTR) {
            continue;
        }
        if (length <= 0) {
            return length == 0 ? std::optional<std::string>(std::move(text)) : std::nullopt;
        }
        text.append(chunk, static_cast<std::size_t>(length));
    }
}

// A file being rewritten in place is locked, so that two writers do not mix their texts.
class WriteLock {
public:
    explicit WriteLock(int file) : m_file(file) {
        while (::flock(m_file, LOCK_EX) != 0 && errno == EINTR) {
        }
    }
    ~WriteLock() { ::flock(m_file, LOCK_UN); }
    WriteLock(const WriteLock&) = delete;
    WriteLock& operator=(const WriteLock&) = delete;

private:
    int m_file;
};

bool rewriteInPlace(int file, const std::string& text) {
    const WriteLock lock(file);
    const std::optional<std::string> old = contentsOf(file);
    if (writeAll(file, text.data(), text.size(), 0) && cutTo(file, text.size())) {
        return true;
    }
    // The old bytes have their place on the disk still, so putting them back needs no room. Without
    // them nothing is cut off.
    if (old) {
        static_cast<void>(writeAll(file, old->data(), old->size(), 0) && cutTo(file, old->size()));
    }
    return false;
}

// Where the new text is put together; its name is this process's own.
class SiblingFile {
public:
    SiblingFile(const std::string& path, mode_t mode) {
        static std::atomic<unsigned> serial{0};
        const std::size_t slash = path.rfind('/');
        const std::size_t base = slash == std::string::npos ? 0 : slash + 1;
        for (int attempt = 0; attempt < 100 && !m_file.isOpen(); ++attempt) {
            m_path = path.substr(0, base) + "." + path.substr(base) + "." +
                     std::to_string(::getpid()) + "." + std::to_string(++serial) + ".new";
            m_file.reset(
                ::open(m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
            if (!m_file.isOpen() && errno != EEXIST) {
                break;
            }
        }
    }
    ~SiblingFile() {
        if (m_file.isOpen() && !m_renamed) {
            ::unlink(m_path.c_str());
        }
    }
    SiblingFile(const SiblingFile&) = delete;
    SiblingFile& operator=(const SiblingFile&) = delete;

    bool isOpen() const { return m_file.isOpen(); }
    int get() const { return m_file.get(); }
    bool takeAttributes(const struct stat& original) const {
        return ::fchmod(m_file.get(), original.st_mode & 07777) == 0;
    }
    bool renameTo(const std::string& path) {
        m_renamed = std::rename(m_path.c_str(), path.c_str()) == 0;
        return m_renamed;
    }

private:
    std::string m_path;
    UniqueFd m_file;
    bool m_renamed = false;
};

// What is to be done with a file that was opened for rewriting.
enum class Rewriting {
    Replace, // nobody misses the old one: it has no other name, no other owner
    InPlace,
    StartAgain, // the name is another file's by now. Whoever still writes to the one that was
                // opened changes it under its last readers, and for nobody else to see.
};

Rewriting rewritingOf(const std::string& path, const struct stat& status) {
    struct stat named {};
    if (::lstat(path.c_str(), &named) != 0) {
        return errno == ENOENT ? Rewriting::StartAgain : Rewriting::InPlace;
    }
    if (named.st_dev != status.st_dev || named.st_ino != status.st_ino) {
        return S_ISLNK(named.st_mode) ? Rewriting::InPlace : Rewriting::StartAgain;
    }
    return status.st_nlink == 1 && status.st_uid == ::geteuid() && status.st_gid == ::getegid()
               ? Rewriting::Replace
               : Rewriting::InPlace;
}

// The file that a link leads to, so that the link itself stays.
std::string resolved(const char* path) {
    const std::unique_ptr<char, decltype(&std::free)> real(::realpath(path, nullptr), &std::free);
    return real != nullptr ? real.get() : path;
}

ReplaceOutcome outcomeOf(bool isWritten) {
    return isWritten ? ReplaceOutcome::Replaced : ReplaceOutcome::NotWritten;
}

// A file that was made to be filled goes again when it cannot be, also for want of memory.
class EmptyFile {
public:
    EmptyFile(const std::string& path, bool isOurs) : m_path(path), m_isOurs(isOurs) {}
    ~EmptyFile() {
        if (m_isOurs) {
            ::unlink(m_path.c_str());
        }
    }
    EmptyFile(const EmptyFile&) = delete;
    EmptyFile& operator=(const EmptyFile&) = delete;
    void keep() { m_isOurs = false; }

private:
    const std::string& m_path;
    bool m_isOurs;
};

// Nothing when it has to be started again.
std::optional<ReplaceOutcome> replaceExisting(const std::string& path, int file,
                                              const std::string& text) {
    struct stat status {};
    if (::fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) {
        return ReplaceOutcome::NotOpened;
    }
    const Rewriting rewriting = rewritingOf(path, status);
    if (rewriting == Rewriting::StartAgain) {
        return std::nullopt;
    }
    if (rewriting == Rewriting::Replace) {
        SiblingFile sibling(path, 0600);
        if (sibling.isOpen()) {
            const bool written = writeAll(sibling.get(), text.data(), text.size(), 0) &&
                                 sibling.takeAttributes(status) && sibling.renameTo(path);
            return outcomeOf(written);
        }
    }
    return outcomeOf(rewriteInPlace(file, text));
}

std::optional<ReplaceOutcome> tryToReplace(const char* path, const std::string& text,
                                           LinkRule rule) {
    const bool follows = rule == LinkRule::Follow;
    const int flags = O_CLOEXEC | O_NONBLOCK | (follows ? 0 : O_NOFOLLOW);
    const std::string target = follows ? resolved(path) : path;
    UniqueFd file(::open(target.c_str(), O_RDWR | flags));
    if (!file.isOpen() && errno == EACCES) {
        file.reset(::open(target.c_str(), O_WRONLY | flags));
    }
    if (file.isOpen()) {
        return replaceExisting(target, file.get(), text);
    }
    if (errno != ENOENT) {
        return ReplaceOutcome::NotOpened;
    }
    // A new file: whoever opens it sees it empty or whole.
    UniqueFd created(::open(target.c_str(), O_RDWR | O_CREAT | O_EXCL | flags, 0666));
    EmptyFile empty(target, created.isOpen());
    if (!created.isOpen() &&
        errno == EEXIST) { // another process was quicker, or a link leads to a missing file
        created.reset(::open(target.c_str(), O_RDWR | O_CREAT | flags, 0666));
    }
    if (!created.isOpen()) {
        return ReplaceOutcome::NotOpened;
    }
    const std::optional<ReplaceOutcome> outcome =
        replaceExisting(follows ? resolved(path) : target, created.get(), text);
    if (outcome != ReplaceOutcome::NotOpened && outcome != ReplaceOutcome::NotWritten) {
        empty.keep();
    }
    return outcome;
}

} // namespace

ReadResult unopenedFile() {
    return errno == ENOENT || errno == ENOTDIR ? ReadResult::Missing : ReadResult::Unreadable;
}

UniqueFd openTextFile(const char* path) {
    UniqueFd file(::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (file.isOpen() && (::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))) {
        file.reset();
        errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    }
    return file;
}

LineReader::LineReader(UniqueFd file)
    : m_file(std::move(file)), m_buffer(std::make_unique_for_overwrite<char[]>(kBufferSize + 1)) {}

bool LineReader::fill() {
    if (m_begin > 0) {
        std::memmove(m_buffer.get(), m_buffer.get() + m_begin, m_end - m_begin);
        m_end -= m_begin;
        m_begin = 0;
    }
    for (;;) {
        const ssize_t length = ::read(m_file.get(), m_buffer.get() + m_end, kBufferSize - m_end);
        if (length < 0 && errno == EINTR) {
            continue;
        }
        m_failed = m_failed || length < 0;
        if (length <= 0) {
            return false;
        }
        m_end += static_cast<std::size_t>(length);
        m_buffer[m_end] = '\0'; // next() keeps the byte behind the last piece, too
        return true;
    }
}

char* LineReader::next() {
    if (m_hasSaved) {
        m_buffer[m_begin] = m_saved;
        m_hasSaved = false;
    }
    std::size_t length = 0;
    for (;;) {
        const std::size_t available = std::min(m_end - m_begin, kLinePiece);
        const void* feed = std::memchr(m_buffer.get() + m_begin, '\n', available);
        if (feed != nullptr) {
            length = static_cast<std::size_t>(static_cast<const char*>(feed) - m_buffer.get()) + 1 -
                     m_begin;
            break;
        }
        if (available == kLinePiece || !fill()) {
            length = std::min(m_end - m_begin, kLinePiece);
            break;
        }
    }
    if (length == 0) {
        return nullptr;
    }
    char* piece = m_buffer.get() + m_begin;
    m_begin += length;
    m_saved = m_buffer[m_begin];
    m_hasSaved = true;
    m_buffer[m_begin] = '\0';
    return piece;
}

void stripLineFeed(char* line) {
    const std::size_t length = std::strlen(line);
    if (length > 0 && line[length - 1] == '\n') {
        line[length - 1] = '\0';
    }
}

ReplaceOutcome replaceTextFile(const char* path, const std::string& text, LinkRule rule) {
    constexpr int kMostAttempts = 1000; // each that fails is another process's commit
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        if (const std::optional<ReplaceOutcome> outcome = tryToReplace(path, text, rule)) {
            return *outcome;
        }
    }
    return ReplaceOutcome::NotWritten;
}

} // namespace corvid
