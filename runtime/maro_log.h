#pragma once

// The process-wide, append-only text log, its time helpers and the directory creation that path
// builders share.
//
// Each call opens the log file, appends one line, closes it and makes it readable and writable by
// all, so that a line survives whatever happens next and several processes can share one log. After
// 30,000 lines the file is renamed to "<log>.N.txt", N going round from 0 to 9, starting at 0 in
// every process. Until logging is initialised every call is dropped. Any thread may log; lines
// never interleave.
//
//   <Fri Nov 20 12:05:03 2026> TAB <Thread=1> TAB level tag message LF

#include <ctime>

// Creates the lock around the non-reentrant time calls, once; more calls change nothing.
void initMaroTime();
// Destroys that lock, if there is one. For the end of the process.
void cleanupMaroTime();

// Writes the local time as "Fri Nov 20 12:05:03 2026" into the zero-filled buffer of `size` bytes;
// of a longer text size - 2 characters are taken and the last one of those is removed. 0 for a null
// buffer or a size below 1 (nothing is written then), else 1.
int maro_localAscTime(const long* time, char* buffer, int size);
// The broken-down local time in a new allocation that the caller releases with free(); null when
// out of memory or when the time has no calendar date.
std::tm* maro_localtime(const long* time);

// Creates one directory (mode 0777 less the umask). True when it exists afterwards and can be
// opened; else false, and -1 in *error if error is given. An existing directory leaves *error
// untouched.
bool createDirectoryForPlatform(const char* path, int* error);

// A small number, 1 for the first thread that asks, that identifies the calling thread.
int getCurrentThread();

// Copies the log file's path, cut to fit; returns the length of the whole path.
int getLogFilePath(char* buffer, int size);

namespace corvid {

// The log keeps silent about its own failures; who asked for one can be told from here: 0 when the
// present log file can be opened for writing (which creates it), else the reason as errno has it.
int whyLogCannotBeWritten();

} // namespace corvid

// The switch of the ordinary and the developer level (on at start); the others always write.
void setLoggingEnabled(bool enabled);
// The switch of the developer level (off at start).
bool isDevLoggingEnabled();
void setDevLoggingEnabled(bool enabled);
// Whether lines carry the thread field (on at start).
void setThreadLoggingEnabled(bool enabled);

// Starts logging to `path` (at most 1023 characters are kept); returns the length of the path.
int initializeMaroLogging(const char* path);
// Starts logging to "/private/tmp/" + fileName. The directory is accepted and not used: the log
// always lives there. Returns the length of the path.
int initializeAndDetermineMaroLogging(const char* fileName, const char* directory);
// Ends logging. For the end of the process, after the last line.
void cleanupMaroLogging();
// Renames the log to the next backup. Called with the log's lock held, by the logging functions.
void rollMaroLogFile();

// The six levels: developer ("DEV\t"), ordinary, warning ("WARNING\t"), to-do ("TO DO:\t"), error
// ("ERROR\t") and always. The message may be of any length; a failure to write is never reported.
void maro_logDev(const char* format, ...) __attribute__((format(printf, 1, 2)));
void maro_log(const char* format, ...) __attribute__((format(printf, 1, 2)));
void maro_logWarning(const char* format, ...) __attribute__((format(printf, 1, 2)));
void maro_logToDo(const char* format, ...) __attribute__((format(printf, 1, 2)));
void maro_logError(const char* format, ...) __attribute__((format(printf, 1, 2)));
void maro_logAlways(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Builds the path of a per-user settings file: the preferences folder below HOME ("/private/tmp"
// without HOME), the folders "Fernwick" and "Corvid" (created), and fileName; at most size - 2
// characters are kept. Always 1.
int calculateLogFilePath(char* buffer, int size, const char* fileName);
