#include "store/Kavro_PISSRenderQueue.h"

#include "files/text_file.h"
#include "runtime/maro_log.h"
#include "runtime/out_of_memory.h"

#include <cerrno>

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

} // namespace

int KavroPISSRenderQueue::Commit() {
    const int result =
        corvid::unlessOutOfMemory("RenderQueue::Commit", 0, [this] { return writeQueue(); });
    CloseFileIfOpen();
    return result;
}

int KavroPISSRenderQueue::writeQueue() {
    // What could not be read must not be replaced by what little is known of it.
    if (m_isUnread || m_path == nullptr) {
        maro_logError("Commit: File '%s' could not be read and is not replaced\n", queuePath());
        return 0;
    }
    std::string text;
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
    const corvid::ReplaceOutcome outcome = corvid::replaceTextFile(shadowPath(), text);
    if (outcome == corvid::ReplaceOutcome::NotOpened) {
        maro_logError("Commit: Unable to open file '%s' for writing\n", shadowPath());
    } else if (outcome == corvid::ReplaceOutcome::NotWritten) {
        maro_logError("Commit: Unable to write file '%s'\n", shadowPath());
    }
    return outcome == corvid::ReplaceOutcome::Replaced;
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
    const corvid::ReplaceOutcome outcome = corvid::replaceTextFile(queuePath(), text);
    if (outcome == corvid::ReplaceOutcome::NotOpened) {
        maro_logError("Unable to find the dest file: %s", queuePath());
    } else if (outcome == corvid::ReplaceOutcome::NotWritten) {
        maro_logError("Unable to write the dest file: %s", queuePath());
    }
    return outcome == corvid::ReplaceOutcome::Replaced;
}
