#include "store/PISSMD5.h"

#include "tests/support/failing_calls.h"
#include "tests/support/product_root.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include <sys/stat.h>

namespace {

using corvid::test::Call;
using corvid::test::FailNth;
using corvid::test::makeDirectory;
using corvid::test::writeFile;

std::string hashOf(const char* text) {
    char out[corvid::kPrintableHashSize];
    _MD5GetPrintableHash(text, out);
    return out;
}

std::string finished(MD5Context& context) {
    char out[corvid::kPrintableHashSize];
    _MD5FinalPrintableHash(out, &context);
    return out;
}

// ---- texts

TEST(MD5TextTest, TheTestSuiteOfTheStandardIsMet) {
    EXPECT_EQ(hashOf(""), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(hashOf("a"), "0cc175b9c0f1b6a831c399e269772661");
    EXPECT_EQ(hashOf("abc"), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(hashOf("message digest"), "f96b697d7cb7938d525a2f31aaf161d0");
    EXPECT_EQ(hashOf("abcdefghijklmnopqrstuvwxyz"), "c3fcd3d76192e4007dfb496cca67e13b");
    EXPECT_EQ(hashOf("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"),
              "d174ab98d277d9f5a5611c2c9f419d9f");
    EXPECT_EQ(hashOf("1234567890123456789012345678901234567890"
                     "1234567890123456789012345678901234567890"),
              "57edf4a22be3c955ac49da2e2107b67a");
}

TEST(MD5TextTest, LengthsAroundTheEndOfABlockArePaddedRight) {
    const std::pair<std::size_t, const char*> expected[] = {
        {54, "eced9e0b81ef2bba605cbc5e2e76a1d0"},  {55, "ef1772b6dff9a122358552954ad0df65"},
        {56, "3b0c8ac703f828b04c6c197006d17218"},  {57, "652b906d60af96844ebd21b674f35e93"},
        {63, "b06521f39153d618550606be297466d5"},  {64, "014842d480b571495a4a0363793f7367"},
        {65, "c743a45e0d2e6a95cb859adae0248435"},  {119, "8a7bd0732ed6a28ce75f6dabc90e1613"},
        {120, "5f61c0ccad4cac44c75ff505e1f1e537"}, {127, "020406e1d05cdc2aa287641f7ae2cc39"},
        {128, "e510683b3f5ffe4093d021808bc6ff70"}, {129, "b325dc1c6f5e7a2b7cf465b9feab7948"},
        {1000, "cabe45dcc9ae5b66ba86600cca6b8ba8"}};
    for (const auto& [length, hash] : expected) {
        EXPECT_EQ(hashOf(std::string(length, 'a').c_str()), hash) << length << " characters";
    }
}

TEST(MD5TextTest, BytesBeyondAsciiAreHashedAsTheyAre) {
    EXPECT_EQ(hashOf("Z\xc3\xbcrich/\xe6\x97\xa5\xe6\x9c\xac.aep"),
              "c590d2f365b6d65a66339023bba332bb");
}

TEST(MD5TextTest, AHashTakes32CharactersAndATerminator) {
    char out[40];
    std::memset(out, '#', sizeof(out));
    _MD5GetPrintableHash("a", out);
    EXPECT_EQ(std::strlen(out), 32U);
    EXPECT_TRUE(std::all_of(out + 33, std::end(out), [](char c) { return c == '#'; }));
}

// ---- running digests

TEST(MD5UpdateTest, TheSplitOfTheBytesDoesNotMatter) {
    const std::string text(129, 'a');
    for (std::size_t split = 0; split <= text.size(); ++split) {
        MD5Context context;
        _MD5Init(&context);
        _MD5Update(&context, text.data(), split);
        _MD5Update(&context, text.data() + split, text.size() - split);
        EXPECT_EQ(finished(context), "b325dc1c6f5e7a2b7cf465b9feab7948") << "split at " << split;
    }
}

TEST(MD5UpdateTest, BytesMayComeOneByOneOrInUnevenPieces) {
    const std::string text(1000, 'a');
    for (const std::size_t piece : {1U, 3U, 63U, 64U, 65U, 200U}) {
        MD5Context context;
        _MD5Init(&context);
        for (std::size_t at = 0; at < text.size(); at += piece) {
            _MD5Update(&context, text.data() + at, std::min(piece, text.size() - at));
        }
        EXPECT_EQ(finished(context), "cabe45dcc9ae5b66ba86600cca6b8ba8") << "pieces of " << piece;
    }
}

TEST(MD5UpdateTest, AnUpdateWithoutBytesChangesNothing) {
    MD5Context context;
    _MD5Init(&context);
    _MD5Update(&context, "", 0);
    _MD5Update(&context, "a", 1);
    _MD5Update(&context, "", 0);
    EXPECT_EQ(finished(context), "0cc175b9c0f1b6a831c399e269772661");
}

TEST(MD5UpdateTest, AZeroByteIsAByteLikeAnyOther) {
    MD5Context context;
    _MD5Init(&context);
    _MD5Update(&context, "\0\0", 2);
    EXPECT_EQ(finished(context), "c4103f122d27677c9db144cae1394a66");
}

TEST(MD5UpdateTest, TheBinaryDigestIsTheHashesBytes) {
    MD5Context context;
    _MD5Init(&context);
    _MD5Update(&context, "abc", 3);
    unsigned char digest[17];
    std::fill(std::begin(digest), std::end(digest), static_cast<unsigned char>('#'));
    _MD5Final(digest, &context);
    const unsigned char expected[17] = {0x90, 0x01, 0x50, 0x98, 0x3c, 0xd2, 0x4f, 0xb0, 0xd6,
                                        0x96, 0x3f, 0x7d, 0x28, 0xe1, 0x7f, 0x72, '#'};
    EXPECT_TRUE(std::equal(std::begin(digest), std::end(digest), std::begin(expected)));
}

TEST(MD5UpdateTest, AContextCanBeInitialisedAgain) {
    MD5Context context;
    _MD5Init(&context);
    _MD5Update(&context, "something else", 14);
    _MD5Init(&context);
    EXPECT_EQ(finished(context), "d41d8cd98f00b204e9800998ecf8427e");
}

TEST(MD5TransformTest, TheBlockOfAnEmptyTextGivesItsDigest) {
    std::uint32_t state[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
    const std::uint32_t block[16] = {0x80};
    _MD5Transform(state, block);
    EXPECT_EQ(state[0], 0xd98c1dd4U);
    EXPECT_EQ(state[1], 0x04b2008fU);
    EXPECT_EQ(state[2], 0x980980e9U);
    EXPECT_EQ(state[3], 0x7e42f8ecU);
}

TEST(MD5TransformTest, WordsAreTurnedOnlyWhereTheProcessorIsBigEndian) {
    unsigned char words[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    _byteReverse(words, 2);
    std::uint32_t first = 0;
    std::memcpy(&first, words, sizeof(first));
    EXPECT_EQ(first, 0x04030201U);
    EXPECT_EQ(words[8], 9);
}

// ---- files

class MD5FileTest : public corvid::test::ProductTest {
protected:
    // What a call on the file leaves in a buffer that held "before".
    std::string hashOfFile(const std::string& name, int result) const {
        char out[corvid::kPrintableHashSize] = "before";
        EXPECT_EQ(_generateMD5ForFile(root.path(name).c_str(), out), result);
        return out;
    }
};

std::string pattern(std::size_t length) {
    std::string bytes(length, '\0');
    for (std::size_t i = 0; i < length; ++i) {
        bytes[i] = static_cast<char>(static_cast<unsigned char>((i * 7 + 3) % 256));
    }
    return bytes;
}

TEST_F(MD5FileTest, FilesAroundTheSizeOfAChunkAreHashedWhole) {
    const std::pair<std::size_t, const char*> expected[] = {
        {0, "d41d8cd98f00b204e9800998ecf8427e"},     {1, "8666683506aacd900bbd5a74ac4edf68"},
        {16383, "6280ebdb2595915c7e70476a285e5c93"}, {16384, "239c55b0c6dcac81344234ca75b93e54"},
        {16385, "24f56994f6cb15127416e68eeba1402c"}, {32768, "3db4f65017c15021ae233458aa7e0702"},
        {100000, "59f08777fcd1aa2b8e0c8f892cfaae09"}};
    for (const auto& [length, hash] : expected) {
        writeFile(root.path("file"), pattern(length));
        EXPECT_EQ(hashOfFile("file", 1), hash) << length << " bytes";
    }
}

TEST_F(MD5FileTest, AFileThatCannotBeOpenedLeavesTheOutputAsItWas) {
    EXPECT_EQ(hashOfFile("missing", 0), "before");
    writeFile(root.path("file"), "x");
    const FailNth fail(Call::Open, 1, EMFILE);
    EXPECT_EQ(hashOfFile("file", 0), "before");
    EXPECT_EQ(fail.failures(), 1);
}

TEST_F(MD5FileTest, AFileThatCannotBeReadLeavesTheOutputAsItWas) {
    makeDirectory(root.path("directory"));
    EXPECT_EQ(hashOfFile("directory", 0), "before");
}

TEST(HashOfTest, IsThePrintableHashAsAText) {
    EXPECT_EQ(corvid::hashOf(""), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(corvid::hashOf("abc"), "900150983cd24fb0d6963f7d28e17f72");
}

} // namespace
