#pragma once

// MD5 message digests (RFC 1321) and their printable form, which names the directories of the
// cache. The digest serves as a name, not as protection against anybody.

#include <cstddef>
#include <cstdint>
#include <string>

namespace corvid {
// Characters of a printable hash, and a buffer for it with its terminator.
constexpr std::size_t kPrintableHashLength = 32;
constexpr std::size_t kPrintableHashSize = kPrintableHashLength + 1;
} // namespace corvid

// A running digest.
struct MD5Context {
    std::uint32_t state[4];
    std::uint64_t bytes; // fed so far
    unsigned char pending[64];
};

void _MD5Init(MD5Context* context);
void _MD5Update(MD5Context* context, const void* data, std::size_t length);
// Finishes the digest into 16 bytes; the context is used up.
void _MD5Final(unsigned char* digest, MD5Context* context);
// Mixes one block of sixteen words, in the machine's byte order, into the state.
void _MD5Transform(std::uint32_t* state, const std::uint32_t* block);
// Turns `words` little-endian words in place into the machine's byte order, and back.
void _byteReverse(unsigned char* buffer, std::size_t words);

// Each of these writes 32 lower-case hexadecimal characters and a terminator into out, which holds
// at least 33 characters.
void _MD5GetPrintableHash(const char* text, char* out);
void _MD5FinalPrintableHash(char* out, MD5Context* context);
// Digests a whole file. 1; or 0, out left as it was, when the file cannot be opened or read.
int _generateMD5ForFile(const char* path, char* out);

namespace corvid {

// The printable hash of a text, which ends at its first NUL; a null text has none.
class PrintableHash {
public:
    explicit PrintableHash(const char* text) : m_isGiven(text != nullptr) {
        if (m_isGiven) {
            _MD5GetPrintableHash(text, m_hash);
        }
    }
    const char* text() const { return m_isGiven ? m_hash : nullptr; }

private:
    bool m_isGiven;
    char m_hash[kPrintableHashSize];
};

inline std::string hashOf(const std::string& text) {
    return PrintableHash(text.c_str()).text();
}

} // namespace corvid
