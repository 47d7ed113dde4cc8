#include "store/product_paths.h"

namespace corvid {

std::string productPath(int (*assign)(char* buffer, int size)) {
    char probe[2];
    const int length = assign(probe, sizeof(probe));
    std::string path(static_cast<std::size_t>(length) + 2, '\0');
    assign(path.data(), length + 2);
    path.resize(static_cast<std::size_t>(length));
    return path;
}

} // namespace corvid
