#include "store/Kavro_PISSRenderQueue.h"

#include "runtime/maro_log.h"
#include "store/text_file.h"

#include <cerrno>

#include <sys/stat.h>
#include <unistd.h>

namespace {

// Appends the rest of an open file; false when reading fails.
bool readRest(int file, std::string& out) {
    char chunk[64 * 1024];
    for (;;) {
        const ssize_t length = ::read(file, chunk, sizeof(chunk));
        if (length < 0 && errno == EINTR) {
            continue;
        }
        if (length <= 0) {
            return length == 0;
        }
        out.append(chunk, static_cast<std::size_t>(length));
    }
}

off_t sizeOf(int file) {
    struct stat status {};
    return ::fstat(file, &status) == 0 ? status.st_size : 0;
}

} // namespace

int KavroPISSRenderQueue::Commit() {
    std::string text;
    // A transaction changes little of a long queue, so the old length saves most of the growing.
    text.reserve(static_cast<std::size_t>(sizeOf(m_file.get())) + 4096);
    for (const auto* entry = m_items.head(); entry != nullptr; entry = entry->next) {
        entry->item->formatTo(text);
    }
    const bool isShadowWritten = writeShadow(text);
    if (isShadowWritten) {
        maro_log("RenderQueue::Commit - copying %s to %s.", shadowPath(), queuePath());
    }
    CloseFileIfOpen();
    return isShadowWritten && copyShadowOverQueue(text) ? 1 : 0;
}

bool KavroPISSRenderQueue::writeShadow(const std::string& text) const {
    const corvid::ReplaceResult result = corvid::replaceTextFile(shadowPath(), text);
    if (!result.opened) {
        maro_logError("Commit: Unable to open file '%s' for writing\n", shadowPath());
    } else if (!result.written) {
        maro_logError("Commit: Unable to write file '%s'\n", shadowPath());
    }
    return result.written;
}

bool KavroPISSRenderQueue::copyShadowOverQueue(std::string& text) const {
    const corvid::UniqueFd source = corvid::openTextFile(shadowPath());
    if (!source.isOpen()) {
        maro_logError("Unable to find the src file: %s", shadowPath());
        return false;
    }
    text.clear();
    if (!readRest(source.get(), text)) {
        maro_logError("Unable to read the src file: %s", shadowPath());
        return false;
    }
    const corvid::ReplaceResult result = corvid::replaceTextFile(queuePath(), text);
    if (!result.opened) {
        maro_logError("Unable to find the dest file: %s", queuePath());
    } else if (!result.written) {
        maro_logError("Unable to write the dest file: %s", queuePath());
    }
    return result.written;
}
