// slow_volume SOURCE MOUNT_POINT: shows a directory, for reading, as a volume on which each call
// takes a millisecond, as on a network. The system keeps no names and no attributes of it, so that
// each question gets there. Calls of several threads are answered side by side. Ends when it is
// told to.

#define FUSE_USE_VERSION 312
#include <fuse.h>
#include <fuse_lowlevel.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::chrono::milliseconds kDelay{1};
constexpr unsigned kThreads = 64;

std::string sourcePath(const char* path) {
    return *static_cast<const std::string*>(fuse_get_context()->private_data) + path;
}

int resultOf(int result) {
    return result < 0 ? -errno : 0;
}

// Serves the looking up of names as well.
int getAttributes(const char* path, struct stat* status, fuse_file_info* /*file*/) {
    std::this_thread::sleep_for(kDelay);
    return resultOf(::lstat(sourcePath(path).c_str(), status));
}

int openDirectory(const char* path, fuse_file_info* file) {
    std::this_thread::sleep_for(kDelay);
    DIR* directory = ::opendir(sourcePath(path).c_str());
    if (directory == nullptr) {
        return -errno;
    }
    file->fh = reinterpret_cast<std::uintptr_t>(directory);
    return 0;
}

int readDirectory(const char* /*path*/, void* buffer, fuse_fill_dir_t fill, off_t offset,
                  fuse_file_info* file, fuse_readdir_flags /*flags*/) {
    std::this_thread::sleep_for(kDelay);
    // The handle is where the library keeps it, as an integer.
    DIR* directory = reinterpret_cast<DIR*>(file->fh); // NOLINT(performance-no-int-to-ptr)
    ::seekdir(directory, offset);
    while (const dirent* entry = ::readdir(directory)) { // NOLINT(concurrency-mt-unsafe)
        struct stat status {};
        status.st_ino = entry->d_ino;
        status.st_mode = static_cast<mode_t>(entry->d_type) << 12U;
        if (fill(buffer, entry->d_name, &status, ::telldir(directory), fuse_fill_dir_flags{}) !=
            0) {
            break;
        }
    }
    return 0;
}

int releaseDirectory(const char* /*path*/, fuse_file_info* file) {
    return resultOf(
        ::closedir(reinterpret_cast<DIR*>(file->fh))); // NOLINT(performance-no-int-to-ptr)
}

int openFile(const char* path, fuse_file_info* file) {
    std::this_thread::sleep_for(kDelay);
    const int opened = ::open(sourcePath(path).c_str(), O_RDONLY | O_CLOEXEC);
    if (opened < 0) {
        return -errno;
    }
    file->fh = static_cast<std::uint64_t>(opened);
    return 0;
}

int readFile(const char* /*path*/, char* buffer, size_t size, off_t offset, fuse_file_info* file) {
    const ssize_t length = ::pread(static_cast<int>(file->fh), buffer, size, offset);
    return length < 0 ? -errno : static_cast<int>(length);
}

int releaseFile(const char* /*path*/, fuse_file_info* file) {
    return resultOf(::close(static_cast<int>(file->fh)));
}

void* initialise(fuse_conn_info* connection, fuse_config* config) {
    // A listing that brings the attributes along would save the questions that are to be slow.
    connection->want &= ~static_cast<unsigned>(FUSE_CAP_READDIRPLUS | FUSE_CAP_READDIRPLUS_AUTO);
    config->entry_timeout = 0;
    config->attr_timeout = 0;
    config->negative_timeout = 0;
    config->use_ino = 1;
    return fuse_get_context()->private_data;
}

fuse_operations operations() {
    fuse_operations result{};
    result.getattr = getAttributes;
    result.opendir = openDirectory;
    result.readdir = readDirectory;
    result.releasedir = releaseDirectory;
    result.open = openFile;
    result.read = readFile;
    result.release = releaseFile;
    result.init = initialise;
    return result;
}

int serve(fuse* volume, const char* mountPoint) {
    if (fuse_mount(volume, mountPoint) != 0) {
        return 1;
    }
    fuse_set_signal_handlers(fuse_get_session(volume));
    fuse_loop_config* config = fuse_loop_cfg_create();
    fuse_loop_cfg_set_max_threads(config, kThreads);
    fuse_loop_cfg_set_idle_threads(config, kThreads);
    static_cast<void>(fuse_loop_mt(volume, config)); // the signal that ends it is its result
    fuse_loop_cfg_destroy(config);
    fuse_remove_signal_handlers(fuse_get_session(volume));
    fuse_unmount(volume);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        static_cast<void>(std::fputs("usage: slow_volume SOURCE MOUNT_POINT\n", stderr));
        return 2;
    }
    std::string source = argv[1];
    const fuse_operations serving = operations();
    char option[] = "-oro,fsname=slow_volume";
    char* words[] = {argv[0], option, nullptr};
    fuse_args arguments = FUSE_ARGS_INIT(2, words);
    fuse* volume = fuse_new(&arguments, &serving, sizeof(serving), &source);
    if (volume == nullptr) {
        return 1;
    }
    const int status = serve(volume, argv[2]);
    fuse_destroy(volume);
    fuse_opt_free_args(&arguments);
    return status;
}
