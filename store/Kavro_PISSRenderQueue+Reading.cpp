#include "store/Kavro_PISSRenderQueue.h"

#include "files/text_file.h"
#include "runtime/maro_log.h"
#include "runtime/out_of_memory.h"
#include "store/kvp_line.h"

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

// The rest of a line that was too long may be one; nobody could ask for its value.
bool lacksKey(const KvpFields& line) {
    if (line.key == nullptr) {
        maro_logWarning("ProcessRenderQueueItem: The line of '%s' has no key\n", line.scope);
    }
    return line.key == nullptr;
}

// Texts that were read are never null, so that nothing else can have been refused.
void needMemory(int isAdded) {
    if (isAdded == 0) {
        throw std::bad_alloc();
    }
}

// What was read last inside an output module section, as far as a closing brace depends on it.
enum class Before { SectionOpening, ModuleClosing, Other };

// Reads what stands between the braces of one item.
class ItemReader {
public:
    explicit ItemReader(corvid::LineReader& lines) : m_lines(lines) {}

    // The item, or null with a warning when it is broken. Throws std::bad_alloc.
    std::unique_ptr<Item> read();

private:
    std::optional<KvpFields> nextLine();
    // False when the section does not end.
    bool readOutputModules();
    void addPair(const KvpFields& line);
    void closeModule();
    void addModulePair(const KvpFields& line);
    // Makes a new module the active one.
    void openModule();

    corvid::LineReader& m_lines;
    std::unique_ptr<Item> m_item;
    std::unique_ptr<Module> m_active;
};

std::optional<KvpFields> ItemReader::nextLine() {
    char* line = m_lines.next();
    return line != nullptr ? std::optional(corvid::splitKvpLine(line)) : std::nullopt;
}

std::unique_ptr<Item> ItemReader::read() {
    m_item = std::make_unique<Item>();
    for (;;) {
        const std::optional<KvpFields> line = nextLine();
        if (!line || line->scope == nullptr) {
            maro_logWarning(
                "ProcessRenderQueueItem: EOF reached prematurely in Render Queue item\n");
            return nullptr;
        }
        if (isClosing(*line)) {
            return std::move(m_item);
        }
        if (!isOpening(*line)) {
            addPair(*line);
        } else if (!readOutputModules()) {
            return nullptr;
        }
    }
}

void ItemReader::addPair(const KvpFields& line) {
    if (lacksKey(line)) {
        return;
    }
    needMemory(isText(line) ? m_item->Add(line.scope, line.key, valueOf(line))
                            : m_item->Add(line.scope, line.key, corvid::decimalValue(line.value)));
}

void ItemReader::openModule() {
    m_active = std::make_unique<Module>();
}

void ItemReader::closeModule() {
    if (m_active == nullptr) {
        maro_logWarning("ProcessOutputModuleItem: } reached without a corresponding { token\n");
        openModule();
    }
    needMemory(m_item->AddNewOutputModule(m_active.get()));
    static_cast<void>(m_active.release()); // the item's now
}

void ItemReader::addModulePair(const KvpFields& line) {
    if (m_active == nullptr) {
        maro_logWarning(
            "ProcessOutputModuleItem: Key Value reached without a corresponding { token\n");
        openModule();
    }
    if (!isText(line)) {
        maro_logWarning("ProcessOutputModuleItem: int type not yet supported\n");
        m_active.reset();
    } else if (!lacksKey(line)) {
        needMemory(m_active->Add(line.scope, line.key, valueOf(line)));
    }
}

bool ItemReader::readOutputModules() {
    Before before = Before::SectionOpening;
    while (const std::optional<KvpFields> line = nextLine()) {
        if (line->scope == nullptr) {
            continue;
        }
        if (isOpening(*line)) {
            if (m_active != nullptr) {
                maro_logWarning("ProcessOutputModuleItem: { reached while an output module was "
                                "actively being processed\n");
            }
            openModule();
            before = Before::Other;
        } else if (isClosing(*line)) {
            // A brace that closes no module ends the section: behind a module, or at once when the
            // section has none, which is how an item without modules is written.
            if (m_active == nullptr && before != Before::Other) {
                return true;
            }
            closeModule();
            before = Before::ModuleClosing;
        } else {
            addModulePair(*line);
            before = Before::Other;
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
        const int whyUnreadable = errno;
        m_isUnread = whyUnreadable != ENOENT;
        if (m_ifMissing == corvid::IfMissing::LeaveMissing) {
            return m_isUnread ? 0 : 1;
        }
        if (createQueueFile(whyUnreadable) == 0) {
            maro_logWarning("Cannot create file '%s' for creation and locking\n", queuePath());
            return 0;
        }
        if (isHeldFileEmpty()) {
            return 1;
        }
    }
    m_isUnread = true;
    // Another process may be about to replace the file, or have created and filled it just now.
    openForHold();
    if (!m_file.isOpen()) {
        maro_logWarning("StartTransaction: Cannot open file '%s' for reading\n", queuePath());
        return 0;
    }
    return corvid::unlessOutOfMemory("StartTransaction", 0, [this] { return readItems(); });
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
            m_isUnread = false;
            return 0;
        }
        std::unique_ptr<Item> item = items.read();
        if (item == nullptr) {
            m_isUnread = lines.failed();
            return 0;
        }
        needMemory(AddNewRenderQueueItem(item.get()));
        static_cast<void>(item.release()); // the queue's now
    }
    char beyond = '\0';
    if (::read(m_file.get(), &beyond, 1) != 0) {
        maro_logWarning("StartTransaction: Cannot read file '%s' to its end\n", queuePath());
        return 0;
    }
    m_isUnread = false;
    return 1;
}
