#pragma once

// How the text files of the store are read and rewritten.

#include "files/unique_fd.h"

#include <cstddef>
#include <memory>
#include <string>
#include <utility>

namespace corvid {

// The longest piece of a line that readers take at once, its line feed included. A longer line is
// read in pieces, each taken for a line; writers therefore never write one.
constexpr std::size_t kLinePiece = 1023;

// What became of reading a file. A store whose file is there but was not read whole must not
// rewrite it.
enum class ReadResult { Whole, Missing, Unreadable };

// What a file that could not be opened counts as, told from errno.
ReadResult unopenedFile();

// Opens a regular file for reading; anything else (a directory, a pipe) counts as not readable,
// because reading it would block or give nothing. Not open on failure, with errno set.
UniqueFd openTextFile(const char* path);

// Reads a file line by line, in pieces of at most kLinePiece bytes.
class LineReader {
public:
    // Takes the descriptor over.
    explicit LineReader(UniqueFd file);
    // The next piece, with its line feed if it has one; null at the end or when reading fails. The
    // text may be changed by the caller and is valid until the next call. Text behind a NUL byte is
    // not seen.
    char* next();
    // Whether the reading ended at an error of the system rather than at the end of the file.
    bool failed() const { return m_failed; }

private:
    bool fill();

    static constexpr std::size_t kBufferSize = std::size_t{64} * 1024;

    UniqueFd m_file;
    std::unique_ptr<char[]> m_buffer;
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
    char m_saved = '\0'; // the byte under the terminator that next() put behind the piece
    bool m_hasSaved = false;
    bool m_failed = false;
};

// Whether a reader wants the next piece.
enum class AfterPiece { GoOn, Stop };

// Reads a file, calling onLine(char* line), an AfterPiece, for each piece until it says Stop.
template <class OnLine>
[[nodiscard]] ReadResult readLines(const char* path, OnLine onLine) {
    UniqueFd file = openTextFile(path);
    if (!file.isOpen()) {
        return unopenedFile();
    }
    LineReader lines(std::move(file));
    while (char* line = lines.next()) {
        if (onLine(line) == AfterPiece::Stop) {
            return ReadResult::Whole;
        }
    }
    return lines.failed() ? ReadResult::Unreadable : ReadResult::Whole;
}

// Removes one trailing line feed.
void stripLineFeed(char* line);

// Puts `text` in place of a file's contents, or makes the file. The text is written beside the file
// and renamed over it, so that a full disk, a failing write, a second writer or the end of the
// process leaves either the old text or the new one. A link keeps pointing to the file; with
// LinkRule::Refuse, for folders that others may write to, it is not opened. Where no
// file can be made in the directory, or the file has other names or another owner, it is rewritten
// in place, and the old text is put back when that fails.
enum class ReplaceOutcome {
    Replaced,
    NotOpened,  // the file may not be written, as errno tells
    NotWritten, // it could be opened but the text did not reach it
};
[[nodiscard]] ReplaceOutcome replaceTextFile(const char* path, const std::string& text,
                                             LinkRule rule = LinkRule::Follow);

} // namespace corvid
