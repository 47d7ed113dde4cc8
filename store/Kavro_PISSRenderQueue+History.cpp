#include "store/Kavro_PISSRenderQueue.h"

#include "files/text_file.h"
#include "runtime/maro_log.h"
#include "runtime/out_of_memory.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char kQueueName[] = "RQ.txt";
constexpr char kHistoryName[] = "RQ-History.txt";
constexpr char kCounterName[] = "cpro2-count.cvp";
constexpr std::size_t kCounterLine = 31; // characters of the counter file that count

// The history's path; empty when the queue path does not lead to one.
std::string historyPath(std::string queuePath) {
    const std::size_t place = queuePath.find(kQueueName);
    return place != std::string::npos
               ? queuePath.replace(place, std::strlen(kQueueName), kHistoryName)
               : "";
}

corvid::UniqueFd openForAppending(const std::string& path) {
    corvid::UniqueFd file(
        ::open(path.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0666));
    struct stat status {};
    if (file.isOpen() && (::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))) {
        file.reset();
    }
    return file;
}

// Cuts off what a failing write left at the end, unless another process has appended behind it.
void takeBack(int file, ssize_t written) {
    const off_t end = ::lseek(file, 0, SEEK_CUR);
    struct stat status {};
    if (::fstat(file, &status) == 0 && status.st_size == end) {
        static_cast<void>(::ftruncate(file, end - written) == 0);
    }
}

// One write for the whole record, so that the records of two processes never mix; half a record is
// none.
bool appendRecord(int file, const std::string& record) {
    ssize_t written = 0;
    do {
        written = ::write(file, record.data(), record.size());
    } while (written < 0 && errno == EINTR);
    if (written == static_cast<ssize_t>(record.size())) {
        return true;
    }
    if (written > 0) {
        takeBack(file, written);
    }
    return false;
}

// The number after the one in the counter file: 1 when there is none, nothing when it is the last
// or cannot be read.
std::optional<int> nextBackupNumber(const char* counterPath) {
    corvid::UniqueFd file = corvid::openTextFile(counterPath);
    if (!file.isOpen()) {
        return corvid::unopenedFile() == corvid::ReadResult::Missing ? std::optional(1)
                                                                     : std::nullopt;
    }
    corvid::LineReader lines(std::move(file));
    char* line = lines.next();
    if (lines.failed()) {
        return std::nullopt;
    }
    if (line == nullptr) {
        return 1;
    }
    if (std::strlen(line) > kCounterLine) {
        line[kCounterLine] = '\0';
    }
    const long number = std::strtol(line, nullptr, 0); // a leading 0 or 0x changes the base
    if (number < INT_MIN || number >= INT_MAX) {
        return std::nullopt;
    }
    return static_cast<int>(number) + 1;
}

} // namespace

int KavroPISSRenderQueue::MoveRenderQueueItemToHistory(int index) {
    return corvid::unlessOutOfMemory("KavroPISSRenderQueue::MoveRenderQueueItemToHistory", 0,
                                     [this, index] { return moveToHistory(index); });
}

int KavroPISSRenderQueue::moveToHistory(int index) {
    const std::string path = historyPath(queuePath());
    if (path.empty()) {
        maro_logError(
            "KavroPISSRenderQueue::MoveRenderQueueItemToHistory -=- Unable to determine path to %s "
            "file.",
            kHistoryName);
        return 0;
    }
    corvid::UniqueFd file = openForAppending(path);
    if (!file.isOpen()) {
        maro_logError("KavroPISSRenderQueue::MoveRenderQueueItemToHistory -=- Unable to open file "
                      "for writing "
                      ": %s",
                      kHistoryName);
        return 0;
    }
    const KavroPISSRenderQueueItem* item = GetSpecificRenderQueueItemInList(index);
    if (item == nullptr) {
        maro_logError(
            "KavroPISSRenderQueue::MoveRenderQueueItemToHistory -=- Unable to find item [%d] to "
            "move to history.",
            index);
        return 0;
    }
    std::string record;
    item->formatTo(record);
    if (!appendRecord(file.get(), record)) {
        maro_logError("KavroPISSRenderQueue::MoveRenderQueueItemToHistory -=- Unable to write item "
                      "[%d] to %s.",
                      index, kHistoryName);
        return 0;
    }
    file.reset();
    if (DeleteRenderQueueItemAtIndex(index - 1) == 0) {
        maro_logWarning(
            "KavroPISSRenderQueue::MoveRenderQueueItemToHistory -=- Unable to delete item [%d] "
            "from RQ.txt.",
            index);
        return 0;
    }
    return 1;
}

namespace {

constexpr char kOperation[] = "KavroPISSRenderQueue::CreateBackupProjectName";

} // namespace

int KavroPISSRenderQueue::CreateBackupProjectName(char* buffer, int size) {
    if (buffer == nullptr || size < 1) {
        maro_logError("%s -=- no buffer for the name.", kOperation);
        return 0;
    }
    *buffer = '\0';
    if (m_projectsPath == nullptr) {
        maro_logError("%s -=- no directory for backup projects.", kOperation);
        return 0;
    }
    return corvid::unlessOutOfMemory(kOperation, 0, [&] { return nameBackup(buffer, size); });
}

int KavroPISSRenderQueue::nameBackup(char* buffer, int size) const {
    const std::string directory = m_projectsPath.get();
    const std::string counterPath = directory + kCounterName;
    const std::optional<int> number = nextBackupNumber(counterPath.c_str());
    if (!number) {
        maro_logError("%s -=- no number follows the one in %s.", kOperation, counterPath.c_str());
        return 0;
    }
    const std::string digits = std::to_string(*number);
    const std::string name = directory + "CPro2BGRQProject_" + digits + ".aep";
    if (name.size() >= static_cast<std::size_t>(size)) {
        maro_logError("%s -=- %s does not fit into %d bytes.", kOperation, name.c_str(), size);
        return 0;
    }
    // Replaced in one step rather than deleted and made anew: a counter lost in between would hand
    // out the names of existing projects again.
    if (corvid::replaceTextFile(counterPath.c_str(), digits + "\n") !=
        corvid::ReplaceOutcome::Replaced) {
        maro_logError("%s -=- Unable to write %s.", kOperation, counterPath.c_str());
        return 0;
    }
    std::memcpy(buffer, name.c_str(), name.size() + 1);
    return 1;
}
