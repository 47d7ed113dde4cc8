#include "store/Kavro_PISSRenderQueue.h"

#include "runtime/maro_log.h"
#include "store/kvp_line.h"
#include "store/text_file.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using corvid::KvpFields;
using Item = KavroPISSRenderQueueItem;
using Module = KavroPISSRenderQueueItemOutputModule;

constexpr int kOpenAttempts = 21;
constexpr useconds_t kOpenPause = 1000; // microseconds

bool isOpening(const KvpFields& line) {
    return std::strcmp(line.scope, "{") == 0;
}
bool isClosing(const KvpFields& line) {
    return std::strcmp(line.scope, "}") == 0;
}
bool isText(const KvpFields& line) {
    return line.type != nullptr && std::strcmp(line.type, corvid::kStringType) == 0;
}
const char* valueOf(const KvpFields& line) {
    return line.value != nullptr ? line.value : "";
}

// What was read last inside an output module section, as far as a closing brace depends on it.
enum class Before { SectionOpening, ModuleClosing, Other };

// Reads what stands between the braces of one item.
class ItemReader {
public:
    explicit ItemReader(corvid::LineReader& lines) : m_lines(lines) {}

    // The item, or null with a warning when it is broken.
    std::unique_ptr<Item> read();

private:
    std::optional<KvpFields> nextLine();
    bool readOutputModules();
    bool addPair(const KvpFields& line);
    bool closeModule();
    bool addModulePair(const KvpFields& line);
    // Makes a new module the active one; false when out of memory.
    bool openModule();

    corvid::LineReader& m_lines;
    std::unique_ptr<Item> m_item;
    std::unique_ptr<Module> m_active;
};

std::optional<KvpFields> ItemReader::nextLine() {
    char* line = m_lines.next();
    return line != nullptr ? std::optional(corvid::splitKvpLine(line)) : std::nullopt;
}

std::unique_ptr<Item> ItemReader::read() {
    m_item.reset(new (std::nothrow) Item);
    while (m_item != nullptr) {
        const std::optional<KvpFields> line = nextLine();
        if (!line || line->scope == nullptr) {
            maro_logWarning(
                "ProcessRenderQueueItem: EOF reached prematurely in Render Queue item\n");
            return nullptr;
        }
        if (isClosing(*line)) {
            break;
        }
        if (!(isOpening(*line) ? readOutputModules() : addPair(*line))) {
            return nullptr;
        }
    }
    return std::move(m_item);
}

bool ItemReader::addPair(const KvpFields& line) {
    const bool isAdded =
        isText(line) ? m_item->Add(line.scope, line.key, valueOf(line)) != 0
                     : m_item->Add(line.scope, line.key, corvid::decimalValue(line.value)) != 0;
    if (!isAdded) {
        maro_logWarning("ProcessRenderQueueItem: Cannot keep the Key Value line of '%s'\n",
                        line.scope);
    }
    return isAdded;
}

bool ItemReader::openModule() {
    m_active.reset(new (std::nothrow) Module);
    return m_active != nullptr;
}

bool ItemReader::closeModule() {
    if (m_active == nullptr) {
        maro_logWarning("ProcessOutputModuleItem: } reached without a corresponding { token\n");
        if (!openModule()) {
            return false;
        }
    }
    if (m_item->AddNewOutputModule(m_active.get()) == 0) {
        return false;
    }
    static_cast<void>(m_active.release()); // the item's now
    return true;
}

bool ItemReader::addModulePair(const KvpFields& line) {
    if (m_active == nullptr) {
        maro_logWarning(
            "ProcessOutputModuleItem: Key Value reached without a corresponding { token\n");
        if (!openModule()) {
            return false;
        }
    }
    if (!isText(line)) {
        maro_logWarning("ProcessOutputModuleItem: int type not yet supported\n");
        m_active.reset();
        return true;
    }
    if (m_active->Add(line.scope, line.key, valueOf(line)) == 0) {
        maro_logWarning("ProcessOutputModuleItem: Cannot keep the Key Value line of '%s'\n",
                        line.scope);
        return false;
    }
    return true;
}

bool ItemReader::readOutputModules() {
    Before before = Before::SectionOpening;
    while (const std::optional<KvpFields> line = nextLine()) {
        if (line->scope == nullptr) {
            continue;
        }
        bool isRead = false;
        if (isOpening(*line)) {
            if (m_active != nullptr) {
                maro_logWarning("ProcessOutputModuleItem: { reached while an output module was "
                                "actively being processed\n");
            }
            isRead = openModule();
            before = Before::Other;
        } else if (isClosing(*line)) {
            // A brace that closes no module ends the section: behind a module, or at once when the
            // section has none, which is how an item without modules is written.
            if (m_active == nullptr && before != Before::Other) {
                return true;
            }
            isRead = closeModule();
            before = Before::ModuleClosing;
        } else {
            isRead = addModulePair(*line);
            before = Before::Other;
        }
        if (!isRead) {
            return false;
        }
    }
    if (m_active != nullptr) {
        maro_logWarning("ProcessOutputModuleItem: incompletely processed an active module\n");
    }
    maro_logWarning("ProcessOutputModuleItem: EOF reached prematurely in output module\n");
    return false;
}

} // namespace

int KavroPISSRenderQueue::StartTransaction() {
    DeleteAllRenderQueueItems();
    CloseFileIfOpen();
    if (!corvid::openTextFile(queuePath()).isOpen()) {
        if (createQueueFile(errno) == 0) {
            maro_logWarning("Cannot create file '%s' for creation and locking\n", queuePath());
            return 0;
        }
        if (isHeldFileEmpty()) {
            return 1;
        }
    }
    // Another process may be about to replace the file, or have created and filled it just now.
    openForHold();
    if (!m_file.isOpen()) {
        maro_logWarning("StartTransaction: Cannot open file '%s' for reading\n", queuePath());
        return 0;
    }
    return readItems();
}

int KavroPISSRenderQueue::createQueueFile(int whyUnreadable) {
    // Only a missing file is created: one that exists but cannot be read must not be taken for
    // empty.
    if (whyUnreadable == ENOENT) {
        m_file.reset(::open(queuePath(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0666));
    }
    return m_file.isOpen() ? 1 : 0;
}

bool KavroPISSRenderQueue::isHeldFileEmpty() const {
    struct stat status {};
    return ::fstat(m_file.get(), &status) == 0 && status.st_size == 0;
}

void KavroPISSRenderQueue::openForHold() {
    for (int attempt = 0; attempt < kOpenAttempts; ++attempt) {
        m_file = corvid::openTextFile(queuePath());
        if (m_file.isOpen()) {
            return;
        }
        ::usleep(kOpenPause);
    }
}

int KavroPISSRenderQueue::readItems() {
    // The duplicate shares the hold's place in the file.
    corvid::LineReader lines{corvid::UniqueFd(::fcntl(m_file.get(), F_DUPFD_CLOEXEC, 0))};
    ItemReader items(lines);
    while (char* line = lines.next()) {
        const KvpFields fields = corvid::splitKvpLine(line);
        if (fields.scope == nullptr) {
            continue;
        }
        if (!isOpening(fields)) {
            maro_logWarning("StartTransaction: Invalid start to Render Queue item: No opening '{', "
                            "instead '%s'\n",
                            fields.scope);
            return 0;
        }
        std::unique_ptr<Item> item = items.read();
        if (item == nullptr || AddNewRenderQueueItem(item.get()) == 0) {
            return 0;
        }
        static_cast<void>(item.release()); // the queue's now
    }
    char beyond = '\0';
    if (::read(m_file.get(), &beyond, 1) != 0) {
        maro_logWarning("StartTransaction: Cannot read file '%s' to its end\n", queuePath());
        return 0;
    }
    return 1;
}
