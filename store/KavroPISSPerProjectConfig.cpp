#include "store/KavroPISSPerProjectConfig.h"

#include "runtime/maro_log.h"
#include "store/PISSMD5.h"
#include "store/kvp_line.h"
#include "store/text_file.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace {

constexpr char kFileName[] = ".CorvidPro2ProjectConfig.cvp";
constexpr char kVersionTag[] = "cvp-version:";
constexpr std::size_t kComparedTagLength = 10; // not the whole tag: older files differ in its end
constexpr int kVersion = 1;

// The scope of a name's entries.
class HashedName {
public:
    explicit HashedName(const char* name) : m_isGiven(name != nullptr) {
        if (m_isGiven) {
            _MD5GetPrintableHash(name, m_text);
        }
    }
    // Null, which no entry has, for a null name.
    const char* text() const { return m_isGiven ? m_text : nullptr; }

private:
    bool m_isGiven;
    char m_text[corvid::kPrintableHashSize];
};

bool reported(corvid::AddResult result, const char* operation) {
    if (result == corvid::AddResult::OutOfMemory) {
        maro_logError("PerProjectConfig::%s malloc failed\n", operation);
    }
    return result == corvid::AddResult::Added;
}

// A null text stands for "not set" and is kept as long as the object lives.
bool isReadBack(const char* value) {
    return value == nullptr || corvid::hasKvpValue(value);
}

int versionBehindTag(const char* line) {
    const char* text = line + std::min(std::strlen(line), std::strlen(kVersionTag));
    char* end = nullptr;
    const long version = std::strtol(text, &end, 10);
    return end != text ? static_cast<int>(std::clamp<long>(version, INT32_MIN, INT32_MAX)) : -1;
}

} // namespace

KavroPISSProjectKeys::KavroPISSProjectKeys(const char* projectPath) {
    const std::string path = projectPath;
    const std::size_t nameBegin = path.rfind('/') + 1; // 0 without a separator
    folder = path.substr(0, nameBegin);
    name = path.substr(nameBegin);
    identity = folder + "::*::" + name;
}

KavroPISSPerProjectConfig::KavroPISSPerProjectConfig(const char* projectFolder) {
    if (projectFolder == nullptr) {
        maro_logWarning("PerProjectConfig::PerProjectConfig : pathToProject set to null.\n");
        return;
    }
    if (*projectFolder == '\0') {
        maro_logWarning("PerProjectConfig::PerProjectConfig : pathToProject has length 0.\n");
        return;
    }
    m_projectFolder = projectFolder;
    m_path = *m_projectFolder + (m_projectFolder->back() == '/' ? "" : "/") + kFileName;
    read();
}

KavroPISSPerProjectConfig::~KavroPISSPerProjectConfig() {
    m_store.clear();
}

bool KavroPISSPerProjectConfig::isHeaderOfOurs(char* line) const {
    if (std::strncmp(line, kVersionTag, kComparedTagLength) != 0) {
        maro_log("CVP version for %s is out of date.", m_path->c_str());
        return false;
    }
    const int version = versionBehindTag(line);
    if (version < kVersion) {
        // The numbers stand in this order although the labels say otherwise; tools read them so.
        maro_log("CVP version for %s is out of date. File Version: %d. CVP Version: %d",
                 m_path->c_str(), kVersion, version);
        return false;
    }
    return true;
}

void KavroPISSPerProjectConfig::read() {
    bool isHeader = true;
    m_read = corvid::readLines(m_path->c_str(), [this, &isHeader](char* line) {
        return std::exchange(isHeader, false) ? *line != '\0' && isHeaderOfOurs(line)
                                              : readLine(line);
    });
    if (m_isCut) {
        m_read = corvid::ReadResult::Unreadable;
    }
}

bool KavroPISSPerProjectConfig::readLine(char* line) {
    const corvid::KvpFields fields = corvid::splitKvpLine(line);
    if (fields.scope == nullptr) {
        return false;
    }
    bool isKept = true;
    if (fields.key == nullptr) {
        maro_logWarning("PerProjectConfig: keyValue was NULL");
    } else if (fields.value == nullptr) {
        maro_logWarning("PerProjectConfig: stringRemainder was NULL for key: %s", fields.key);
    } else if (std::strcmp(fields.type, corvid::kStringType) == 0) {
        isKept = AddWithoutHashing(fields.scope, fields.key, fields.value);
    } else if (std::strcmp(fields.type, corvid::kIntegerType) == 0) {
        isKept = AddWithoutHashing(fields.scope, fields.key, corvid::decimalValue(fields.value));
    } else {
        maro_logWarning("PerProjectConfig:  type not yet supported: %s for key: %s\n", fields.type,
                        fields.key);
        return false;
    }
    if (!isKept) {
        m_isCut = m_isCut || corvid::fitsKvpLine(fields.scope, fields.key, fields.value);
        maro_logWarning("PerProjectConfig: line too long for key: %s", fields.key);
    }
    return true;
}

bool KavroPISSPerProjectConfig::Commit() {
    const corvid::MutexLock lock(m_store.mutex());
    if (!m_path) {
        return false;
    }
    std::string text = kVersionTag + std::to_string(kVersion) + "\n";
    const corvid::FormatResult format = m_store.formatLinesUnlocked(text);
    // What could not be read must not be replaced by what little is known of it.
    const corvid::ReplaceResult result =
        m_read != corvid::ReadResult::Unreadable
            ? corvid::replaceTextFile(m_path->c_str(), text, corvid::LinkRule::Refuse)
            : corvid::ReplaceResult{};
    if (!result.opened) {
        maro_logWarning("Per Project Commit: Cannot open generic config file '%s' for writing\n",
                        m_path->c_str());
        return false;
    }
    if (!result.written) {
        maro_logWarning("Per Project Commit: Cannot write generic config file '%s'\n",
                        m_path->c_str());
        return false;
    }
    if (format == corvid::FormatResult::InvalidType) {
        maro_logWarning("Commit: Invalid type in KVP list\n");
        return false;
    }
    return true;
}

std::uint32_t KavroPISSPerProjectConfig::NumberOfKeyValuePairsInList() {
    const corvid::MutexLock lock(m_store.mutex());
    return m_store.countUnlocked();
}

bool KavroPISSPerProjectConfig::Add(const char* name, const char* key, const char* value) {
    return isReadBack(value) && reported(m_store.add(HashedName(name).text(), key, value), "Add");
}

bool KavroPISSPerProjectConfig::Add(const char* name, const char* key, int value) {
    return reported(m_store.add(HashedName(name).text(), key, value), "Add");
}

bool KavroPISSPerProjectConfig::GetItem(char** value, const char* name, const char* key) {
    return m_store.getItem(value, HashedName(name).text(), key);
}

bool KavroPISSPerProjectConfig::GetItem(int* value, const char* name, const char* key) {
    return m_store.getItem(value, HashedName(name).text(), key);
}

bool KavroPISSPerProjectConfig::ChangeItem(const char* name, const char* key, const char* value) {
    return isReadBack(value) && m_store.changeItem(HashedName(name).text(), key, value);
}

bool KavroPISSPerProjectConfig::ChangeItem(const char* name, const char* key, int value) {
    return m_store.changeItem(HashedName(name).text(), key, value);
}

bool KavroPISSPerProjectConfig::AddWithoutHashing(const char* hashedName, const char* key,
                                                  const char* value) {
    if (hashedName == nullptr) {
        maro_logError("AddWithoutHashing received a null projectOrCompositionName");
        return false;
    }
    if (key == nullptr) {
        maro_logError("AddWithoutHashing received a null key");
        return false;
    }
    if (value == nullptr) {
        maro_logError("AddWithoutHashing received a null value for key: %s", key);
        return false;
    }
    return isReadBack(value) &&
           reported(m_store.addUnlocked(hashedName, key, value), "AddWithoutHashing");
}

bool KavroPISSPerProjectConfig::AddWithoutHashing(const char* hashedName, const char* key,
                                                  int value) {
    if (hashedName == nullptr) {
        maro_logError("AddWithoutHashing(int) received a null projectOrCompositionName");
        return false;
    }
    if (key == nullptr) {
        maro_logError("AddWithoutHashing(int) received a null key");
        return false;
    }
    return reported(m_store.addUnlocked(hashedName, key, value), "AddWithoutHashing");
}
