// cache_size: prints the bytes of all registered caches, as the check for an overflow asks for
// them. CORVIDPRO_ROOT chooses the caches.

#include "store/KavroPISSConfigHelper.h"

#include <cstdio>

int main() {
    std::printf("%llu bytes\n", static_cast<unsigned long long>(
                                    KavroPISSConfigHelper::_calculateSizeOfAllFrameCaches()));
    return 0;
}
