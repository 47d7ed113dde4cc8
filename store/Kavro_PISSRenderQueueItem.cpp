#include "store/Kavro_PISSRenderQueue.h"

#include "files/text_file.h"
#include "runtime/maro_log.h"
#include "store/kvp_line.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// A pair and its texts are one allocation: a long queue is made of very many pairs.
char* inlineValue(const sRenderQueueItemKVPEntry* pair) {
    return pair->key + std::strlen(pair->key) + 1;
}

void freeChangedValue(sRenderQueueItemKVPEntry* pair) {
    if (pair->type == corvid::kRenderQueueText && pair->value != inlineValue(pair)) {
        std::free(pair->value);
    }
}

char* copyText(char* to, const char* text, std::size_t size) {
    std::memcpy(to, text, size);
    return to + size;
}

// A pair with its name and key set and `valueSize` bytes behind them for the value; null, with one
// error line, when out of memory.
sRenderQueueItemKVPEntry* newPair(int type, const char* name, const char* key,
                                  std::size_t valueSize) {
    const std::size_t nameSize = std::strlen(name) + 1;
    const std::size_t keySize = std::strlen(key) + 1;
    auto* pair = static_cast<sRenderQueueItemKVPEntry*>(
        std::malloc(sizeof(sRenderQueueItemKVPEntry) + nameSize + keySize + valueSize));
    if (pair == nullptr) {
        maro_logError("KavroPISSRenderQueueItem::Add malloc failed\n");
        return nullptr;
    }
    pair->type = type;
    pair->name = reinterpret_cast<char*>(pair + 1);
    pair->key = copyText(pair->name, name, nameSize);
    copyText(pair->key, key, keySize);
    return pair;
}

bool isBrace(const char* text) {
    return std::strcmp(text, "{") == 0 || std::strcmp(text, "}") == 0;
}

// A copy cut to its buffer.
void copyBounded(char* buffer, int size, const char* text) {
    if (buffer != nullptr && size > 0) {
        static_cast<void>(std::snprintf(buffer, static_cast<std::size_t>(size), "%s", text));
    }
}

} // namespace

namespace corvid {

void destroyRenderQueuePair(sRenderQueueItemKVPEntry* pair) {
    freeChangedValue(pair);
    std::free(pair);
}

bool isHarmlessInItem(const KvpFields& line) {
    return line.scope != nullptr && !isBrace(line.scope);
}

bool isHarmlessInModule(const KvpFields& line) {
    return isHarmlessInItem(line) && line.type != nullptr &&
           std::strcmp(line.type, kStringType) == 0;
}

int RenderQueuePairs::add(const char* name, const char* key, const char* value) {
    if (name == nullptr || key == nullptr || value == nullptr) {
        return 0;
    }
    const std::size_t valueSize = std::strlen(value) + 1;
    sRenderQueueItemKVPEntry* pair = newPair(kRenderQueueText, name, key, valueSize);
    if (pair == nullptr) {
        return 0;
    }
    pair->value = inlineValue(pair);
    copyText(pair->value, value, valueSize);
    m_pairs.append(pair);
    return 1;
}

int RenderQueuePairs::add(const char* name, const char* key, int value) {
    if (name == nullptr || key == nullptr) {
        return 0;
    }
    sRenderQueueItemKVPEntry* pair = newPair(kRenderQueueInteger, name, key, 0);
    if (pair == nullptr) {
        return 0;
    }
    pair->intValue = value;
    m_pairs.append(pair);
    return 1;
}

sRenderQueueItemKVPEntry* RenderQueuePairs::find(int type, const char* name,
                                                 const char* key) const {
    if (name == nullptr || key == nullptr) {
        return nullptr;
    }
    return m_pairs.find([type, name, key](const sRenderQueueItemKVPEntry& pair) {
        return pair.type == type && std::strcmp(pair.key, key) == 0 &&
               std::strcmp(pair.name, name) == 0;
    });
}

int RenderQueuePairs::getItem(char** value, const char* name, const char* key) const {
    const sRenderQueueItemKVPEntry* pair = find(kRenderQueueText, name, key);
    *value = pair != nullptr ? ::strdup(pair->value) : nullptr;
    return *value != nullptr ? 1 : 0;
}

int RenderQueuePairs::getItem(int* value, const char* name, const char* key) const {
    const sRenderQueueItemKVPEntry* pair = find(kRenderQueueInteger, name, key);
    *value = pair != nullptr ? pair->intValue : 0;
    return pair != nullptr ? 1 : 0;
}

int RenderQueuePairs::changeItem(const char* name, const char* key, const char* value) {
    sRenderQueueItemKVPEntry* pair = find(kRenderQueueText, name, key);
    if (pair == nullptr || value == nullptr) {
        return 0;
    }
    char* copy = ::strdup(value);
    if (copy == nullptr) {
        return 0;
    }
    freeChangedValue(pair);
    pair->value = copy;
    return 1;
}

int RenderQueuePairs::changeItem(const char* name, const char* key, int value) {
    sRenderQueueItemKVPEntry* pair = find(kRenderQueueInteger, name, key);
    if (pair == nullptr) {
        return 0;
    }
    pair->intValue = value;
    return 1;
}

void RenderQueuePairs::formatTo(std::string& out) const {
    for (const auto* pair = m_pairs.head(); pair != nullptr; pair = pair->next) {
        if (pair->type == kRenderQueueText) {
            appendKvpLine(out, m_indent, pair->name, pair->key, pair->value, m_isHarmless);
        } else {
            appendKvpLine(out, m_indent, pair->name, pair->key, pair->intValue, m_isHarmless);
        }
    }
}

void destroyOutputModuleEntry(sRenderQueueItemOutputModuleEntry* entry) {
    delete entry->module;
    std::free(entry);
}

} // namespace corvid

void KavroPISSRenderQueueItemOutputModule::formatTo(std::string& out) const {
    out += "\t\t{\n";
    m_pairs.formatTo(out);
    out += "\t\t}\n";
}

KavroPISSRenderQueueItemOutputModule* KavroPISSRenderQueueItem::GetNextOutputModuleInList() {
    const sRenderQueueItemOutputModuleEntry* entry = m_modules.next();
    return entry != nullptr ? entry->module : nullptr;
}

int KavroPISSRenderQueueItem::AddNewOutputModule(KavroPISSRenderQueueItemOutputModule* module) {
    if (module == nullptr) {
        return 0;
    }
    auto* entry = static_cast<sRenderQueueItemOutputModuleEntry*>(
        std::malloc(sizeof(sRenderQueueItemOutputModuleEntry)));
    if (entry == nullptr) {
        maro_logError("KavroPISSRenderQueueItem::AddNewOutputModule malloc failed\n");
        return 0;
    }
    entry->module = module;
    m_modules.append(entry);
    return 1;
}

sRenderQueueItemKVPEntry*
KavroPISSRenderQueueItem::getItemData(const sRenderQueueItemKVPEntry* entry, char* key, int keySize,
                                      char* value, int valueSize) {
    if (entry == nullptr) {
        return nullptr;
    }
    copyBounded(key, keySize, entry->key);
    if (entry->type == corvid::kRenderQueueText) {
        copyBounded(value, valueSize, entry->value);
    } else if (value != nullptr && valueSize > 0) {
        static_cast<void>(
            std::snprintf(value, static_cast<std::size_t>(valueSize), "%d", entry->intValue));
    }
    return entry->next;
}

void KavroPISSRenderQueueItem::formatTo(std::string& out) const {
    out += "{\n";
    m_pairs.formatTo(out);
    out += "\t{\n";
    for (const auto* entry = m_modules.head(); entry != nullptr; entry = entry->next) {
        entry->module->formatTo(out);
    }
    out += "\t}\n}\n";
}
