#pragma once

// JSON as it is made, so that no answer has to fit into memory as a whole. Texts are escaped and
// checked by the JSON library; what is plain ASCII, as nearly all is, goes past it.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace corvid {

// Where text goes, piece by piece. Throws OutputFailed when it cannot be written.
using TextSink = std::function<void(std::string_view text)>;

class JsonWriter {
public:
    explicit JsonWriter(TextSink sink);
    // What was not handed on yet is lost; see finish().
    ~JsonWriter() = default;
    JsonWriter(const JsonWriter&) = delete;
    JsonWriter& operator=(const JsonWriter&) = delete;

    // An object or an array, as an item of the present array or as the member `name`.
    void beginObject(std::string_view name = {});
    void endObject() { end('}'); }
    void beginArray(std::string_view name = {});
    void endArray() { end(']'); }

    // Members; without a name items of an array.
    void text(std::string_view name, std::string_view value);
    // A name from the disk: bytes that are no UTF-8 become U+FFFD, and then "<name>_bytes" (base64)
    // stands beside it.
    void diskText(std::string_view name, std::string_view bytes);
    void number(std::string_view name, std::uint64_t value);
    void number(std::string_view name, int value);
    void number(std::string_view name, std::optional<std::uint64_t> value);
    void truth(std::string_view name, bool value);
    void null(std::string_view name);
    // Seconds since 1970 as "2026-11-01T15:30:26Z"; null for 0.
    void time(std::string_view name, long seconds);

    // Starts a new line, for people who look at it.
    void newLine() { m_wantsLine = true; }
    // Hands on what there is.
    void flush();
    // Ends a document with a line feed; another may follow.
    void endDocument();
    // The same of the last one, and hands it on.
    void finish();

private:
    void begin(std::string_view name, char bracket);
    void end(char bracket);
    void member(std::string_view name);
    void value(std::string_view text);
    void quoted(std::string_view text);

    TextSink m_sink;
    std::string m_text;
    bool m_isFirst = true; // nothing stands before in the present object or array
    bool m_wantsLine = false;
};

std::string base64(std::string_view bytes);
bool isUtf8(std::string_view bytes);
// The text with U+FFFD for each byte that is no UTF-8.
std::string asUtf8(std::string_view bytes);
// "2026-11-01T15:30:26Z"
std::string utcText(long seconds);

} // namespace corvid
