// The program's operator new, for the tests in which memory runs out: texts and containers take
// theirs inside the C++ library, where the linker's --wrap does not reach.

#include "tests/support/planned_failures.h"

#include <cstdlib>
#include <new>

// NOLINTBEGIN(cert-dcl37-c,cert-dcl51-cpp,cppcoreguidelines-no-malloc,misc-new-delete-overloads)
extern "C" void* __real_malloc(std::size_t size);

void* operator new(std::size_t size) {
    void* memory = corvid::test::mustFail(corvid::test::Call::AnyNew)
                       ? nullptr
                       : __real_malloc(size != 0 ? size : 1);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
// NOLINTEND(cert-dcl37-c,cert-dcl51-cpp,cppcoreguidelines-no-malloc,misc-new-delete-overloads)
