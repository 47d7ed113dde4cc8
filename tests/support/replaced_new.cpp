// The program's operator new, for the tests in which memory runs out: texts and containers take
// theirs inside the C++ library, where the linker's --wrap does not reach.

#include "tests/support/planned_failures.h"

#include <cstdlib>
#include <new>

// NOLINTBEGIN(cert-dcl37-c,cert-dcl51-cpp,cppcoreguidelines-no-malloc,misc-new-delete-overloads)
extern "C" void* __real_malloc(std::size_t size);

namespace {

template <class Allocate>
void* newMemory(Allocate allocate) {
    void* memory = corvid::test::mustFail(corvid::test::Call::AnyNew) ? nullptr : allocate();
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

} // namespace

void* operator new(std::size_t size) {
    return newMemory([size] { return __real_malloc(size != 0 ? size : 1); });
}

// The tests' own failures of this one are the linker's, see Call::New.
void* operator new(std::size_t size, const std::nothrow_t& /*nothrow*/) noexcept {
    return __real_malloc(size != 0 ? size : 1);
}

// What memory resources ask with.
void* operator new(std::size_t size, std::align_val_t alignment) {
    return newMemory([size, alignment] {
        void* memory = nullptr;
        const auto bytes = static_cast<std::size_t>(alignment);
        const int error = ::posix_memalign(&memory, bytes < sizeof(void*) ? sizeof(void*) : bytes,
                                           size != 0 ? size : 1);
        return error == 0 ? memory : nullptr;
    });
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::align_val_t /*alignment*/) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
    std::free(memory);
}
// NOLINTEND(cert-dcl37-c,cert-dcl51-cpp,cppcoreguidelines-no-malloc,misc-new-delete-overloads)
