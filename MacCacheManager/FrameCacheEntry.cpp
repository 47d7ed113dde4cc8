#include "MacCacheManager/FrameCacheEntry.h"

#include "MacCacheManager/platform/date_formatter.h"
#include "files/size_text.h"

#include <algorithm>
#include <cstring>

namespace {

corvid::OwnedText copyOf(const char* text) {
    return corvid::OwnedText(text != nullptr ? ::strdup(text) : nullptr);
}

// The text of a number, made by `make` the first time after it was set.
template <class Make>
QString madeOnce(QString& text, bool hasNumber, const char* none, Make make) {
    if (!hasNumber) {
        return QString::fromLatin1(none);
    }
    if (text.isNull()) {
        text = make();
    }
    return text;
}

} // namespace

FrameCacheEntry::FrameCacheEntry(int nodeType, const char* name, const char* path)
    : m_strName(copyOf(name)), m_strPath(copyOf(path)), m_nodeType(nodeType) {}

void FrameCacheEntry::setName(const char* name) {
    m_strName = copyOf(name);
    m_strDisplayName = QString();
}

void FrameCacheEntry::setPath(const char* path) {
    m_strPath = copyOf(path);
}

void FrameCacheEntry::setPathToRootCache(const char* path) {
    m_szPathToCache = copyOf(path);
}

FrameCacheEntry* FrameCacheEntry::addChild(std::unique_ptr<FrameCacheEntry> child) {
    return m_children.emplace_back(std::move(child)).get();
}

FrameCacheEntry* FrameCacheEntry::getChildAt(int index) const {
    return index >= 0 && index < getNumberOfChildren()
               ? m_children[static_cast<std::size_t>(index)].get()
               : nullptr;
}

std::unique_ptr<FrameCacheEntry> FrameCacheEntry::takeChild(const FrameCacheEntry* child) {
    const auto found = std::find_if(m_children.begin(), m_children.end(),
                                    [child](const auto& owned) { return owned.get() == child; });
    if (found == m_children.end()) {
        return nullptr;
    }
    std::unique_ptr<FrameCacheEntry> taken = std::move(*found);
    m_children.erase(found);
    return taken;
}

void FrameCacheEntry::setFileSize(std::uint64_t bytes) {
    m_nSizeOnDisk = bytes;
    m_hasSize = true;
    m_strSizeOnDisk = QString();
}

QString FrameCacheEntry::getFileSizeString() const {
    return madeOnce(m_strSizeOnDisk, m_hasSize, "0",
                    [this] { return readableFileSize(m_nSizeOnDisk); });
}

void FrameCacheEntry::setFileCount(int count) {
    m_nNumberOfFiles = count;
    m_hasCount = true;
    m_strNumOfFiles = QString();
}

QString FrameCacheEntry::getFileCountString() const {
    return madeOnce(m_strNumOfFiles, m_hasCount, "0",
                    [this] { return QString::number(m_nNumberOfFiles); });
}

void FrameCacheEntry::setModifiedTime(int seconds) {
    m_modifiedTime = seconds;
    m_hasTime = true;
    m_strLastModifiedTime = QString();
}

QString FrameCacheEntry::getLastModifiedTime() const {
    return madeOnce(m_strLastModifiedTime, m_hasTime, "\?\?-\?\?-\?\?\?\?",
                    [this] { return corvid::shortDateTime(m_modifiedTime); });
}

QString FrameCacheEntry::getDisplayName() const {
    return madeOnce(m_strDisplayName, m_strName != nullptr, "-",
                    [this] { return displayNameOf(m_strName.get()); });
}

QString FrameCacheEntry::displayNameOf(const char* name, corvid::FeatureTable features) {
    const std::string_view shown = corvid::shownName(name, features);
    return QString::fromUtf8(shown.data(), static_cast<qsizetype>(shown.size()));
}

// Qt's own formatting rounds the shortest decimal text of a number, not the number: 3.125 would
// become 3.13.
QString FrameCacheEntry::readableFileSize(std::uint64_t bytes) {
    return QString::fromStdString(corvid::sizeText(bytes));
}
