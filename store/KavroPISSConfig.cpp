#include "store/KavroPISSConfig.h"

#include "files/text_file.h"
#include "runtime/maro_log.h"
#include "runtime/out_of_memory.h"
#include "store/PISSFileUtilities.h"
#include "store/kvp_line.h"
#include "store/product_paths.h"
#include "store/settings_keys.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace {

std::string configPath() {
    return corvid::productPath(assignCorvidProRootConfigDirectoryPath) + "Config.txt";
}

// False when there is no memory for it.
bool addIfMissing(KavroPISSConfig& config, const corvid::SettingKey& setting) {
    int number = 0;
    if (setting.type == corvid::SettingType::Integer) {
        return config.GetItem(&number, corvid::kGlobalScope, setting.name) ||
               config.Add(corvid::kGlobalScope, setting.name, setting.number);
    }
    char* text = nullptr;
    if (config.GetItem(&text, corvid::kGlobalScope, setting.name)) {
        std::free(text);
        return true;
    }
    if (config.GetItem(&number, corvid::kGlobalScope, setting.name)) {
        return true; // present with the other type: an odd value is kept like any other
    }
    const std::string value = setting.type == corvid::SettingType::ProductPath
                                  ? corvid::productPath(setting.assignPath)
                                  : setting.text;
    return config.Add(corvid::kGlobalScope, setting.name, value.c_str());
}

// Whether the settings, as they are in the file, are all there.
bool addMissingSettings() {
    KavroPISSConfig config;
    if (config.IsValid() == 0) {
        maro_logError("%s Persistent information store is invalid!", corvid::kProductName);
        return false;
    }
    bool isComplete = true;
    for (const corvid::SettingKey& setting : corvid::kSettings) {
        isComplete = addIfMissing(config, setting) && isComplete;
    }
    return isComplete && config.Commit();
}

bool checked(corvid::AddOutcome outcome) {
    if (outcome == corvid::AddOutcome::OutOfMemory) {
        maro_logError("Persistent Storage Configuration - Add malloc failed\n");
    }
    return outcome == corvid::AddOutcome::Added;
}

bool isString(const corvid::KvpFields& line) {
    return line.type != nullptr && std::strcmp(line.type, corvid::kStringType) == 0;
}

bool isInteger(const corvid::KvpFields& line) {
    return line.type != nullptr && std::strcmp(line.type, corvid::kIntegerType) == 0;
}

// Any other line ends the reading.
bool isHarmlessInConfig(const corvid::KvpFields& line) {
    return line.scope != nullptr && (isString(line) || isInteger(line));
}

} // namespace

KavroPISSConfig::KavroPISSConfig(corvid::IfMissing ifMissing) {
    const bool hasMemory = corvid::unlessOutOfMemory("KavroPISSConfig", false, [this, ifMissing] {
        m_file.setPath(configPath());
        read(ifMissing);
        return true;
    });
    if (!hasMemory) {
        m_file.markUnreadable();
        m_valid = 0;
    }
}

KavroPISSConfig::~KavroPISSConfig() {
    m_file.clear();
    m_valid = 0;
}

void KavroPISSConfig::read(corvid::IfMissing ifMissing) {
    const auto take = [this](const corvid::KvpFields& line) { return readLine(line); };
    if (m_file.read(take) != corvid::ReadResult::Whole) {
        const char* path = m_file.path().c_str();
        maro_logWarning("Cannot open generic config file '%s' for reading\n", path);
        m_valid = 0;
        if (ifMissing == corvid::IfMissing::Create &&
            !corvid::openTextFile(path).isOpen()) { // not when reading broke off half way
            initializePISSConfig();
        }
    }
}

corvid::AfterLine KavroPISSConfig::readLine(const corvid::KvpFields& fields) {
    if (!isHarmlessInConfig(fields)) {
        maro_logWarning("ProcessOutputModuleItem: int type not yet supported\n");
        m_valid = 0;
        return corvid::AfterLine::Stop;
    }
    const char* value = fields.value != nullptr ? fields.value : "";
    const corvid::AddOutcome outcome =
        isString(fields)
            ? m_file.addUnlocked(fields.scope, fields.key, value)
            : m_file.addUnlocked(fields.scope, fields.key, corvid::decimalValue(value));
    if (!checked(outcome) && outcome == corvid::AddOutcome::NoText) {
        maro_logWarning("Cannot keep a line without a key of generic config file '%s'\n",
                        m_file.path().c_str());
    }
    return corvid::AfterLine::GoOn;
}

void KavroPISSConfig::initializePISSConfig() {
    corvid::unlessOutOfMemory("initializePISSConfig", 0, [] {
        completeFile(configPath());
        return 0;
    });
}

void KavroPISSConfig::completeFile(const std::string& path) {
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
    const bool isComplete = corvid::unlessOutOfMemory("initializePISSConfig", false,
                                                      [] { return addMissingSettings(); });
    if (!isComplete && isOurs) {
        ::unlink(path.c_str());
    }
}

bool KavroPISSConfig::Commit() {
    return m_file.commit({.header = "",
                          .commit = "Commit",
                          .invalidType = "Commit",
                          .isHarmless = isHarmlessInConfig,
                          .link = corvid::LinkRule::Follow});
}

bool KavroPISSConfig::Add(const char* scope, const char* key, const char* value) {
    return checked(m_file.add(scope, key, value));
}

bool KavroPISSConfig::Add(const char* scope, const char* key, int value) {
    return checked(m_file.add(scope, key, value));
}

bool KavroPISSConfig::GetItem(char** value, const char* scope, const char* key) {
    return m_file.getItem(value, scope, key);
}

bool KavroPISSConfig::GetItem(int* value, const char* scope, const char* key) {
    return m_file.getItem(value, scope, key);
}

bool KavroPISSConfig::ChangeItem(const char* scope, const char* key, const char* value) {
    return m_file.changeItem(scope, key, value);
}

bool KavroPISSConfig::ChangeItem(const char* scope, const char* key, int value) {
    return m_file.changeItem(scope, key, value);
}
