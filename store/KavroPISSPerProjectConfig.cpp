#include "store/KavroPISSPerProjectConfig.h"

#include "files/path_text.h"
#include "files/text_file.h"
#include "runtime/maro_log.h"
#include "runtime/out_of_memory.h"
#include "store/PISSMD5.h"
#include "store/kvp_line.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

constexpr char kFileName[] = ".CorvidPro2ProjectConfig.cvp";
constexpr char kVersionTag[] = "cvp-version:";
constexpr std::size_t kComparedTagLength = 10; // not the whole tag: older files differ in its end
constexpr int kVersion = 1;
constexpr char kHeader[] = "cvp-version:1\n"; // the tag and the version

bool reported(corvid::AddOutcome outcome, const char* operation) {
    if (outcome == corvid::AddOutcome::OutOfMemory) {
        maro_logError("PerProjectConfig::%s malloc failed\n", operation);
    }
    return outcome == corvid::AddOutcome::Added;
}

bool isKnownType(const char* type) {
    return std::strcmp(type, corvid::kStringType) == 0 ||
           std::strcmp(type, corvid::kIntegerType) == 0;
}

// Readers pass over a line without key or value and end at one of an unknown type.
bool isHarmlessInProjectFile(const corvid::KvpFields& line) {
    return line.scope != nullptr &&
           (line.key == nullptr || line.value == nullptr || isKnownType(line.type));
}

int versionBehindTag(const char* line) {
    const char* text = line + std::min(std::strlen(line), std::strlen(kVersionTag));
    char* end = nullptr;
    const long version = std::strtol(text, &end, 10);
    return end != text ? static_cast<int>(std::clamp<long>(version, INT32_MIN, INT32_MAX)) : -1;
}

} // namespace

KavroPISSProjectKeys::KavroPISSProjectKeys(const char* projectPath) {
    const bool hasMemory = corvid::unlessOutOfMemory("KavroPISSProjectKeys", false, [&] {
        const std::string path = projectPath != nullptr ? projectPath : "";
        const std::size_t nameBegin = path.rfind('/') + 1; // 0 without a separator
        folder = path.substr(0, nameBegin);
        name = path.substr(nameBegin);
        identity = folder + "::*::" + name;
        return true;
    });
    if (!hasMemory) { // half an identity would be another project's
        folder.clear();
        name.clear();
        identity.clear();
    }
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
    const bool hasMemory = corvid::unlessOutOfMemory("PerProjectConfig", false, [&] {
        m_projectFolder = projectFolder;
        m_file.setPath(corvid::withSeparator(m_projectFolder) + kFileName);
        m_file.read([this](const corvid::KvpFields& line) { return readLine(line); },
                    [this](char* text) { return *text != '\0' && isHeaderOfOurs(text); });
        return true;
    });
    if (!hasMemory) {
        m_file.markUnreadable();
    }
}

KavroPISSPerProjectConfig::~KavroPISSPerProjectConfig() {
    m_file.clear();
}

bool KavroPISSPerProjectConfig::isHeaderOfOurs(char* line) const {
    if (std::strncmp(line, kVersionTag, kComparedTagLength) != 0) {
        maro_log("CVP version for %s is out of date.", m_file.path().c_str());
        return false;
    }
    const int version = versionBehindTag(line);
    if (version < kVersion) {
        // The numbers stand in this order although the labels say otherwise; tools read them so.
        maro_log("CVP version for %s is out of date. File Version: %d. CVP Version: %d",
                 m_file.path().c_str(), kVersion, version);
        return false;
    }
    return true;
}

corvid::AfterLine KavroPISSPerProjectConfig::readLine(const corvid::KvpFields& fields) {
    if (fields.key == nullptr) {
        maro_logWarning("PerProjectConfig: keyValue was NULL");
    } else if (fields.value == nullptr) {
        maro_logWarning("PerProjectConfig: stringRemainder was NULL for key: %s", fields.key);
    } else if (std::strcmp(fields.type, corvid::kStringType) == 0) {
        AddWithoutHashing(fields.scope, fields.key, fields.value);
    } else if (std::strcmp(fields.type, corvid::kIntegerType) == 0) {
        AddWithoutHashing(fields.scope, fields.key, corvid::decimalValue(fields.value));
    } else {
        maro_logWarning("PerProjectConfig:  type not yet supported: %s for key: %s\n", fields.type,
                        fields.key);
        return corvid::AfterLine::Stop;
    }
    return corvid::AfterLine::GoOn;
}

bool KavroPISSPerProjectConfig::Commit() {
    return m_file.commit({.header = kHeader,
                          .commit = "Per Project Commit",
                          .invalidType = "Commit",
                          .isHarmless = isHarmlessInProjectFile,
                          .link = corvid::LinkRule::Refuse});
}

std::uint32_t KavroPISSPerProjectConfig::NumberOfKeyValuePairsInList() {
    return m_file.count();
}

bool KavroPISSPerProjectConfig::Add(const char* name, const char* key, const char* value) {
    return reported(m_file.add(corvid::PrintableHash(name).text(), key, value), "Add");
}

bool KavroPISSPerProjectConfig::Add(const char* name, const char* key, int value) {
    return reported(m_file.add(corvid::PrintableHash(name).text(), key, value), "Add");
}

bool KavroPISSPerProjectConfig::GetItem(char** value, const char* name, const char* key) {
    return m_file.getItem(value, corvid::PrintableHash(name).text(), key);
}

bool KavroPISSPerProjectConfig::GetItem(int* value, const char* name, const char* key) {
    return m_file.getItem(value, corvid::PrintableHash(name).text(), key);
}

bool KavroPISSPerProjectConfig::ChangeItem(const char* name, const char* key, const char* value) {
    return m_file.changeItem(corvid::PrintableHash(name).text(), key, value);
}

bool KavroPISSPerProjectConfig::ChangeItem(const char* name, const char* key, int value) {
    return m_file.changeItem(corvid::PrintableHash(name).text(), key, value);
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
    return reported(m_file.addUnlocked(hashedName, key, value), "AddWithoutHashing");
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
    return reported(m_file.addUnlocked(hashedName, key, value), "AddWithoutHashing");
}
