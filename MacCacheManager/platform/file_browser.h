#pragma once

namespace corvid {

// Asks the desktop's file browser to show a file or folder, selected in the folder that holds it;
// where no file browser answers, that folder is opened. Returns at once; whether the file was found
// is not known.
void selectFileInBrowser(const char* path);

} // namespace corvid
