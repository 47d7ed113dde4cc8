#include "store/PISSMD5.h"

#include "files/unique_fd.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstring>

#include <fcntl.h>

namespace {

constexpr std::size_t kBlockSize = 64;
constexpr std::size_t kLengthOffset = 56; // where the length stands in the last block
constexpr std::size_t kFileChunk = 16384;

// Four shifts per round, used in turn (RFC 1321, section 3.4).
constexpr std::array<std::array<int, 4>, 4> kShifts{{
    {7, 12, 17, 22},
    {5, 9, 14, 20},
    {4, 11, 16, 23},
    {6, 10, 15, 21},
}};

// floor(2^32 * |sin(i + 1)|), the RFC's table T.
constexpr std::array<std::uint32_t, 64> kSines{
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};

struct Step {
    std::uint32_t mixed;
    std::size_t word;
};

// The auxiliary functions F, G, H and I with the order in which each round takes the block's words.
Step stepOf(std::size_t i, std::uint32_t b, std::uint32_t c, std::uint32_t d) {
    switch (i / 16) {
    case 0:
        return {(b & c) | (~b & d), i};
    case 1:
        return {(b & d) | (c & ~d), (5 * i + 1) % 16};
    case 2:
        return {b ^ c ^ d, (3 * i + 5) % 16};
    default:
        return {c ^ (b | ~d), (7 * i) % 16};
    }
}

void transformBytes(std::uint32_t* state, const void* bytes) {
    std::uint32_t block[16];
    std::memcpy(block, bytes, sizeof(block));
    _byteReverse(reinterpret_cast<unsigned char*>(block), 16);
    _MD5Transform(state, block);
}

} // namespace

void _byteReverse(unsigned char* buffer, std::size_t words) {
    if constexpr (std::endian::native == std::endian::big) {
        for (std::size_t i = 0; i < words; ++i) {
            std::reverse(buffer + 4 * i, buffer + 4 * i + 4);
        }
    }
}

void _MD5Transform(std::uint32_t* state, const std::uint32_t* block) {
    std::uint32_t a = state[0];
    std::uint32_t b = state[1];
    std::uint32_t c = state[2];
    std::uint32_t d = state[3];
    for (std::size_t i = 0; i < kSines.size(); ++i) {
        const Step step = stepOf(i, b, c, d);
        const std::uint32_t sum = a + step.mixed + block[step.word] + kSines[i];
        a = d;
        d = c;
        c = b;
        b += std::rotl(sum, kShifts[i / 16][i % 4]);
    }
    state[0] += a;
    state[1] += b;
    state[2] += c;
    state[3] += d;
}

void _MD5Init(MD5Context* context) {
    *context = MD5Context{{0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476}, 0, {}};
}

void _MD5Update(MD5Context* context, const void* data, std::size_t length) {
    if (length == 0) {
        return;
    }
    const auto* bytes = static_cast<const unsigned char*>(data);
    const std::size_t filled = context->bytes % kBlockSize;
    context->bytes += length;
    if (filled > 0) {
        const std::size_t taken = std::min(length, kBlockSize - filled);
        std::memcpy(context->pending + filled, bytes, taken);
        bytes += taken;
        length -= taken;
        if (filled + taken < kBlockSize) {
            return;
        }
        transformBytes(context->state, context->pending);
    }
    for (; length >= kBlockSize; bytes += kBlockSize, length -= kBlockSize) {
        transformBytes(context->state, bytes);
    }
    if (length > 0) {
        std::memcpy(context->pending, bytes, length);
    }
}

void _MD5Final(unsigned char* digest, MD5Context* context) {
    static constexpr unsigned char kPadding[kBlockSize] = {0x80};
    const std::uint64_t bits = context->bytes * 8;
    const std::size_t filled = context->bytes % kBlockSize;
    _MD5Update(context, kPadding,
               (filled < kLengthOffset ? kLengthOffset : kBlockSize + kLengthOffset) - filled);
    unsigned char length[8];
    for (std::size_t i = 0; i < sizeof(length); ++i) {
        length[i] = static_cast<unsigned char>(bits >> (8 * i));
    }
    _MD5Update(context, length, sizeof(length));
    _byteReverse(reinterpret_cast<unsigned char*>(context->state), 4);
    std::memcpy(digest, context->state, 16);
}

void _MD5FinalPrintableHash(char* out, MD5Context* context) {
    static constexpr char kDigits[] = "0123456789abcdef";
    unsigned char digest[16];
    _MD5Final(digest, context);
    for (const unsigned char byte : digest) {
        *out++ = kDigits[byte >> 4];
        *out++ = kDigits[byte & 15];
    }
    *out = '\0';
}

void _MD5GetPrintableHash(const char* text, char* out) {
    MD5Context context;
    _MD5Init(&context);
    _MD5Update(&context, text, std::strlen(text));
    _MD5FinalPrintableHash(out, &context);
}

int _generateMD5ForFile(const char* path, char* out) {
    const corvid::UniqueFd file(::open(path, O_RDONLY | O_CLOEXEC));
    if (!file.isOpen()) {
        return 0;
    }
    MD5Context context;
    _MD5Init(&context);
    unsigned char chunk[kFileChunk];
    for (;;) {
        const ssize_t length = ::read(file.get(), chunk, sizeof(chunk));
        if (length == 0) {
            break;
        }
        if (length < 0) {
            if (errno == EINTR) {
                continue;
            }
            return 0;
        }
        _MD5Update(&context, chunk, static_cast<std::size_t>(length));
    }
    _MD5FinalPrintableHash(out, &context);
    return 1;
}
