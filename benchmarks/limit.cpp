// limit DIRECTORY...: the least that reading a cache can cost. Lists every directory below with a
// large buffer and reads each file's size and time relative to the open directory, with as many
// threads as there are cores, and does nothing else. Prints files and bytes.

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr std::size_t kListingSize = std::size_t{256} * 1024;

struct LinuxEntry {
    std::uint64_t inode;
    std::int64_t offset;
    unsigned short length;
    unsigned char type;
    char name[1];
};

struct Totals {
    std::uint64_t files = 0;
    std::uint64_t bytes = 0;
    std::int64_t newest = 0;
};

class Reader {
public:
    explicit Reader(Totals& totals) : m_totals(totals) {}

    void read(int parent, const char* name) {
        const int directory = ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (directory < 0) {
            return;
        }
        std::vector<std::string> subdirectories;
        for (;;) {
            const long length =
                ::syscall(SYS_getdents64, directory, m_listing.data(), kListingSize);
            if (length <= 0) {
                break;
            }
            readEntries(directory, length, subdirectories);
        }
        for (const std::string& subdirectory : subdirectories) {
            read(directory, subdirectory.c_str());
        }
        ::close(directory);
    }

private:
    void readEntries(int directory, long length, std::vector<std::string>& subdirectories) {
        for (long position = 0; position < length;) {
            const char* at = m_listing.data() + position;
            LinuxEntry entry;
            std::memcpy(&entry, at, offsetof(LinuxEntry, name));
            const char* name = at + offsetof(LinuxEntry, name);
            position += entry.length;
            if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) {
                continue;
            }
            if (entry.type == DT_DIR) {
                subdirectories.emplace_back(name);
                continue;
            }
            struct stat status {};
            if (::fstatat(directory, name, &status, 0) == 0) {
                m_totals.bytes += static_cast<std::uint64_t>(status.st_size);
                m_totals.newest =
                    std::max(m_totals.newest, static_cast<std::int64_t>(status.st_mtime));
            }
            ++m_totals.files;
        }
    }

    Totals& m_totals;
    std::vector<char> m_listing = std::vector<char>(kListingSize);
};

std::vector<std::string> projectsOf(int roots, char** paths) {
    std::vector<std::string> projects;
    for (int i = 0; i < roots; ++i) {
        DIR* root = ::opendir(paths[i]);
        while (root != nullptr) {
            const dirent* entry = ::readdir(root); // NOLINT(concurrency-mt-unsafe)
            if (entry == nullptr) {
                break;
            }
            if (entry->d_type == DT_DIR && entry->d_name[0] != '.') {
                projects.push_back(std::string(paths[i]) + "/" + entry->d_name);
            }
        }
        if (root != nullptr) {
            ::closedir(root);
        }
    }
    return projects;
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> projects = projectsOf(argc - 1, argv + 1);
    const unsigned count = std::max(1U, std::thread::hardware_concurrency());
    std::vector<Totals> totals(count);
    std::atomic<std::size_t> next{0};
    std::vector<std::thread> threads;
    threads.reserve(count);
    for (Totals& own : totals) {
        threads.emplace_back([&projects, &next, &own] {
            Totals local;
            Reader reader(local);
            for (std::size_t i = next++; i < projects.size(); i = next++) {
                reader.read(AT_FDCWD, projects[i].c_str());
            }
            own = local;
        });
    }
    Totals sum;
    for (unsigned i = 0; i < count; ++i) {
        threads[i].join();
        sum.files += totals[i].files;
        sum.bytes += totals[i].bytes;
    }
    std::printf("%llu files %llu bytes\n", static_cast<unsigned long long>(sum.files),
                static_cast<unsigned long long>(sum.bytes));
    return 0;
}
