#pragma once

#include <functional>

class QObject;

namespace corvid {

// Asks the desktop's file browser to show a file or folder, selected in the folder that holds it;
// where no file browser answers, that folder is opened. Returns at once. When that cannot be done
// either, `failed` is called later from the application's loop, unless `context` is gone by then.
void selectFileInBrowser(const char* path, const QObject* context, std::function<void()> failed);

} // namespace corvid
