// plain_log FILE LINES: the least that a log of this kind can cost. Opens the file for each line,
// appends it, closes the file and makes it readable and writable by all.

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

int main(int argc, char** argv) {
    constexpr char kLine[] =
        "<Fri Nov 20 12:05:03 2026>\t<Thread=1>\tThread 0 reports line 12345 of 30000\n";
    const long lines = argc > 2 ? std::strtol(argv[2], nullptr, 10) : 0;
    for (long line = 0; line < lines; ++line) {
        const int file = ::open(argv[1], O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
        const ssize_t written = ::write(file, kLine, std::strlen(kLine));
        ::close(file);
        if (written < 0 || ::chmod(argv[1], 0666) != 0) {
            static_cast<void>(std::fputs("plain_log: cannot write\n", stderr));
            return 1;
        }
    }
    return 0;
}
