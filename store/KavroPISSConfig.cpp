#include "store/KavroPISSConfig.h"

#include "runtime/maro_log.h"
#include "store/PISSFileUtilities.h"
#include "store/kvp_line.h"
#include "store/product_paths.h"
#include "store/text_file.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr char kDefaultScope[] = "default";

struct DefaultSetting {
    const char* key;
    const char* text; // null for an integer
    int number;
    int (*path)(char*, int); // for a text that is one of the product's own paths
};

constexpr DefaultSetting kDefaults[] = {
    {"DirectoryLocationOfFrameCache", "", 0, assignCorvidProFrameCacheDefaultDirectoryPath},
    {"DirectoryLocationOfRenderQueue", "", 0, assignCorvidProRenderQueueDefaultDirectoryPath},
    {"SizeOfFrameCacheInMB", nullptr, 20000, nullptr},
    {"ShowCacheManagementWarnings", nullptr, 1, nullptr},
    {"CorvidProSpeculativeMode", nullptr, 0, nullptr},
    {"SpecPreviewAreaToPreview", nullptr, 0, nullptr},
    {"SpecPreviewLoadFramesCache", nullptr, 1, nullptr},
    {"SpecPreviewStoreFramesCache", nullptr, 0, nullptr},
    {"SpecPreviewUseSkipFrames", nullptr, 0, nullptr},
    {"CorvidProShowStatusPopups", nullptr, 1, nullptr},
    {"SpecPreviewStartFromCurrentTime", nullptr, 1, nullptr},
    {"SpecRenderOutputPath", "null", 0, nullptr},
    {"SpecRenderRenderSettingsTemplate", "Current Settings", 0, nullptr},
    {"SpecRenderOutputModuleTemplate", "Lossless", 0, nullptr},
    {"SpecRenderOutputFilename", "null", 0, nullptr},
    {"AppLocationOfC4D", "/Applications/MAXON/CINEMA 4D R10/CINEMA 4D.app/Contents/MacOS/CINEMA 4D",
     0, nullptr},
};

std::string configPath() {
    return corvid::productPath(assignCorvidProRootConfigDirectoryPath) + "Config.txt";
}

// False when there is no memory for it.
bool addIfMissing(KavroPISSConfig& config, const DefaultSetting& setting) {
    if (setting.text == nullptr) {
        int present = 0;
        return config.GetItem(&present, kDefaultScope, setting.key) ||
               config.Add(kDefaultScope, setting.key, setting.number);
    }
    char* present = nullptr;
    if (config.GetItem(&present, kDefaultScope, setting.key)) {
        std::free(present);
        return true;
    }
    int asInteger = 0;
    if (config.GetItem(&asInteger, kDefaultScope, setting.key)) {
        return true; // present with the other type: an odd value is kept like any other
    }
    const std::string path = setting.path != nullptr ? corvid::productPath(setting.path) : "";
    return config.Add(kDefaultScope, setting.key,
                      setting.path != nullptr ? path.c_str() : setting.text);
}

// Whether the settings, as they are in the file, are all there.
bool addMissingSettings() {
    KavroPISSConfig config;
    if (config.IsValid() == 0) {
        maro_logError("%s Persistent information store is invalid!", corvid::kProductName);
        return false;
    }
    bool isComplete = true;
    for (const DefaultSetting& setting : kDefaults) {
        isComplete = addIfMissing(config, setting) && isComplete;
    }
    return isComplete && config.Commit();
}

bool checked(corvid::AddResult result) {
    if (result == corvid::AddResult::OutOfMemory) {
        maro_logError("Persistent Storage Configuration - Add malloc failed\n");
    }
    return result == corvid::AddResult::Added;
}

} // namespace

KavroPISSConfig::KavroPISSConfig() : m_path(configPath()) {
    read();
}

KavroPISSConfig::~KavroPISSConfig() {
    m_store.clear();
    m_valid = 0;
}

void KavroPISSConfig::read() {
    m_read = corvid::readLines(m_path.c_str(), [this](char* line) { return readLine(line); });
    if (m_isCut) {
        m_read = corvid::ReadResult::Unreadable;
    }
    if (m_read != corvid::ReadResult::Whole) {
        maro_logWarning("Cannot open generic config file '%s' for reading\n", m_path.c_str());
        m_valid = 0;
        if (!corvid::openTextFile(m_path.c_str()).isOpen()) { // not when reading broke off half way
            initializePISSConfig();
        }
    }
}

bool KavroPISSConfig::readLine(char* line) {
    const corvid::KvpFields fields = corvid::splitKvpLine(line);
    if (fields.scope == nullptr) {
        return false;
    }
    const bool isString =
        fields.type != nullptr && std::strcmp(fields.type, corvid::kStringType) == 0;
    const bool isInteger =
        fields.type != nullptr && std::strcmp(fields.type, corvid::kIntegerType) == 0;
    if (!isString && !isInteger) {
        maro_logWarning("ProcessOutputModuleItem: int type not yet supported\n");
        m_valid = 0;
        return false;
    }
    const char* value = fields.value != nullptr ? fields.value : "";
    const corvid::AddResult result =
        isString ? m_store.add(fields.scope, fields.key, value)
                 : m_store.add(fields.scope, fields.key, corvid::decimalValue(value));
    if (!checked(result)) {
        m_isCut = m_isCut || result == corvid::AddResult::OutOfMemory;
        maro_logWarning("Cannot keep a line without a key, or one that is too long, of generic "
                        "config file '%s'\n",
                        m_path.c_str());
    }
    return true;
}

void KavroPISSConfig::initializePISSConfig() {
    const std::string path = configPath();
    bool isOurs = false;
    if (!corvid::openTextFile(path.c_str()).isOpen()) {
        // Only a missing file is created: one that exists but cannot be read must not be emptied.
        const bool isMissing = errno == ENOENT;
        maro_log("%s Persistent Information Store has not been initialized. Creating Config.",
                 corvid::kProductName);
        const corvid::UniqueFd created(
            isMissing ? ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666) : -1);
        if (!created.isOpen()) {
            maro_logError(
                "Unable to create Persistent Storage Config File. %s installation may be corrupt.",
                corvid::kProductName);
            return;
        }
        isOurs = true;
    }
    maro_log("Validating %s Persisitent Information Store Configuration.", corvid::kProductName);
    // A file without the defaults would be taken for one that was set up.
    if (!addMissingSettings() && isOurs) {
        ::unlink(path.c_str());
    }
}

bool KavroPISSConfig::Commit() {
    const corvid::MutexLock lock(m_store.mutex());
    std::string text;
    const corvid::FormatResult format = m_store.formatLinesUnlocked(text);
    // What could not be read must not be replaced by what little is known of it.
    const corvid::ReplaceResult result = m_read != corvid::ReadResult::Unreadable
                                             ? corvid::replaceTextFile(m_path.c_str(), text)
                                             : corvid::ReplaceResult{};
    if (!result.opened) {
        maro_logWarning("Commit: Cannot open generic config file '%s' for writing\n",
                        m_path.c_str());
        return false;
    }
    if (!result.written) {
        maro_logWarning("Commit: Cannot write generic config file '%s'\n", m_path.c_str());
        return false;
    }
    if (format == corvid::FormatResult::InvalidType) {
        maro_logWarning("Commit: Invalid type in KVP list\n");
        return false;
    }
    return true;
}

bool KavroPISSConfig::Add(const char* scope, const char* key, const char* value) {
    return checked(m_store.add(scope, key, value));
}

bool KavroPISSConfig::Add(const char* scope, const char* key, int value) {
    return checked(m_store.add(scope, key, value));
}

bool KavroPISSConfig::GetItem(char** value, const char* scope, const char* key) {
    return m_store.getItem(value, scope, key);
}

bool KavroPISSConfig::GetItem(int* value, const char* scope, const char* key) {
    return m_store.getItem(value, scope, key);
}

bool KavroPISSConfig::ChangeItem(const char* scope, const char* key, const char* value) {
    return m_store.changeItem(scope, key, value);
}

bool KavroPISSConfig::ChangeItem(const char* scope, const char* key, int value) {
    return m_store.changeItem(scope, key, value);
}
