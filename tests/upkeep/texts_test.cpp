#include "upkeep/json_writer.h"
#include "upkeep/shown_text.h"

#include "tests/support/product_root.h"

#include <gtest/gtest.h>

namespace {

using namespace corvid; // NOLINT(google-build-using-namespace)

std::string written(const std::function<void(JsonWriter& json)>& write) {
    std::string text;
    JsonWriter json([&text](std::string_view piece) { text += piece; });
    write(json);
    json.finish();
    return text;
}

TEST(JsonWriter, PutsCommasBetweenMembersAndItems) {
    EXPECT_EQ(written([](JsonWriter& json) {
                  json.beginObject();
                  json.text("a", "x");
                  json.number("b", std::uint64_t{18446744073709551615U});
                  json.beginArray("c");
                  json.endArray();
                  json.beginArray("d");
                  json.number("", 1);
                  json.beginObject();
                  json.null("e");
                  json.truth("f", true);
                  json.endObject();
                  json.endArray();
                  json.number("g", std::optional<std::uint64_t>());
                  json.time("h", 0);
                  json.time("i", 1793547026);
                  json.endObject();
              }),
              "{\"a\": \"x\", \"b\": 18446744073709551615, \"c\": [], \"d\": [1, {\"e\": null, "
              "\"f\": true}], \"g\": null, \"h\": null, \"i\": \"2026-11-01T15:30:26Z\"}\n");
}

TEST(JsonWriter, EscapesAndKeepsUtf8) {
    const auto text = [](std::string_view value) {
        return written([value](JsonWriter& json) { json.text("", value); });
    };
    EXPECT_EQ(text("a\"b\\c\nd\x01"), "\"a\\\"b\\\\c\\nd\\u0001\"\n");
    EXPECT_EQ(text("\xc3\xa4</script>"), "\"\xc3\xa4</script>\"\n");
}

TEST(JsonWriter, BytesThatAreNoUtf8StandBesideTheName) {
    const auto name = [](std::string_view value) {
        return written([value](JsonWriter& json) {
            json.beginObject();
            json.diskText("name", value);
            json.endObject();
        });
    };
    EXPECT_EQ(name("plain"), "{\"name\": \"plain\"}\n");
    EXPECT_EQ(name("a\xff"
                   "b"),
              "{\"name\": \"a\xef\xbf\xbd"
              "b\", \"name_bytes\": \"Yf9i\"}\n");
}

TEST(JsonWriter, HandsOnPieceByPiece) {
    std::size_t largest = 0;
    std::size_t all = 0;
    JsonWriter json([&](std::string_view piece) {
        largest = std::max(largest, piece.size());
        all += piece.size();
    });
    json.beginArray();
    for (int i = 0; i < 100000; ++i) {
        json.newLine();
        json.text("", "some text of forty characters, more or less");
    }
    json.endArray();
    json.finish();
    EXPECT_GT(all, 4000000U);
    EXPECT_LT(largest, 100000U);
}

TEST(Base64, IsAsTheStandardHasIt) {
    const std::pair<const char*, const char*> kCases[] = {{"", ""},
                                                          {"f", "Zg=="},
                                                          {"fo", "Zm8="},
                                                          {"foo", "Zm9v"},
                                                          {"foob", "Zm9vYg=="},
                                                          {"fooba", "Zm9vYmE="},
                                                          {"foobar", "Zm9vYmFy"}};
    for (const auto& [bytes, text] : kCases) {
        EXPECT_EQ(base64(bytes), text);
    }
    EXPECT_EQ(base64("\xff\xfe\xfd"), "//79");
}

TEST(ShownText, EscapesWhatATerminalWouldObey) {
    const std::pair<std::string, std::string> kCases[] = {
        {"plain \xc3\xa4 \xe2\x82\xac \xf0\x9f\x8e\xac",
         "plain \xc3\xa4 \xe2\x82\xac \xf0\x9f\x8e\xac"},
        {"a\nb\tc\rd", "a\\nb\\tc\\rd"},
        {"\x1b[31m", "\\x1b[31m"},
        {std::string("\0", 1), "\\x00"},
        {"\x7f", "\\x7f"},
        {"\xc2\x9b"
         "31m",
         "\\u009b31m"},
        {"\xe2\x80\xae"
         "evil",
         "\\u202eevil"},
        {"\xff\xfe", "\\xff\\xfe"},
        {"\xc3", "\\xc3"},
        {"\xc0\xaf", "\\xc0\\xaf"},
        {"\xed\xa0\x80", "\\xed\\xa0\\x80"},
        {"\xf5\x80\x80\x80", "\\xf5\\x80\\x80\\x80"},
        {"\xe2\x82", "\\xe2\\x82"},
    };
    for (const auto& [bytes, text] : kCases) {
        EXPECT_EQ(shownText(bytes), text);
    }
}

TEST(Sizes, AreReadInPowersOf1024) {
    const std::pair<const char*, std::uint64_t> kRight[] = {
        {"0", 0},
        {"500", 500},
        {"20M", 20971520},
        {"1.5G", 1610612736},
        {"2T", 2199023255552},
        {"1K", 1024},
        {"0.5K", 512},
        {"18446744073709551615", 18446744073709551615U}};
    for (const auto& [text, bytes] : kRight) {
        EXPECT_EQ(parseSize(text), bytes) << text;
    }
    for (const char* wrong : {"",
                              " ",
                              "-1",
                              "-1M",
                              "+1",
                              "NaN",
                              "nan",
                              "inf",
                              "infM",
                              "1e400",
                              "1e3M",
                              "1 M",
                              " 1M",
                              "1M ",
                              "M",
                              "1.5",
                              "1m",
                              "1MB",
                              "1,5G",
                              "0x10",
                              "18446744073709551616",
                              "99999999999T",
                              ".M"}) {
        EXPECT_EQ(parseSize(wrong), std::nullopt) << wrong;
    }
}

TEST(Ages, AreReadWithTheirUnits) {
    const std::pair<const char*, long> kRight[] = {
        {"90s", 90}, {"30m", 1800}, {"12h", 43200}, {"30d", 2592000}, {"8w", 4838400}, {"0s", 0}};
    for (const auto& [text, seconds] : kRight) {
        EXPECT_EQ(parseAge(text), std::chrono::seconds(seconds)) << text;
    }
    for (const char* wrong :
         {"", "5", "-5s", "nans", "infd", "1e400d", "5 s", "5S", "d", "5y", "99999999999999w"}) {
        EXPECT_EQ(parseAge(wrong), std::nullopt) << wrong;
    }
}

TEST(Times, AreOfHereOrOfGreenwich) {
    const corvid::test::EnvironmentGuard zone("TZ", "UTC-2");
    EXPECT_EQ(localTimeText(1793547026), "2026-11-01 17:30");
    EXPECT_EQ(localTimeText(0), "-");
    EXPECT_EQ(utcText(1793547026), "2026-11-01T15:30:26Z");
    EXPECT_EQ(utcText(-1), "1969-12-31T23:59:59Z");
}

TEST(Numbers, AreGrouped) {
    EXPECT_EQ(groupedText(0), "0");
    EXPECT_EQ(groupedText(999), "999");
    EXPECT_EQ(groupedText(1000), "1,000");
    EXPECT_EQ(groupedText(18446744073709551615U), "18,446,744,073,709,551,615");
}

} // namespace
