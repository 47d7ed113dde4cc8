#include "upkeep/json_writer.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <ctime>

namespace corvid {

namespace {

constexpr std::size_t kPiece = std::size_t{64} * 1024;

bool isPlain(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char character) {
        return character >= ' ' && character <= '~' && character != '"' && character != '\\';
    });
}

std::string dumped(std::string_view text, nlohmann::json::error_handler_t onInvalid) {
    return nlohmann::json(text).dump(-1, ' ', false, onInvalid);
}

template <class Number>
std::string_view digitsOf(Number value, std::array<char, 24>& room) {
    const auto end = std::to_chars(room.data(), room.data() + room.size(), value).ptr;
    return {room.data(), static_cast<std::size_t>(end - room.data())};
}

} // namespace

JsonWriter::JsonWriter(TextSink sink) : m_sink(std::move(sink)) {
    m_text.reserve(kPiece + kPiece / 4);
}

void JsonWriter::flush() {
    m_sink(m_text);
    m_text.clear();
}

void JsonWriter::endDocument() {
    m_text += '\n';
    m_isFirst = true;
    if (m_text.size() >= kPiece) {
        flush();
    }
}

void JsonWriter::finish() {
    endDocument();
    flush();
}

void JsonWriter::member(std::string_view name) {
    if (!m_isFirst) {
        m_text += ',';
    }
    m_isFirst = false;
    if (m_wantsLine) {
        m_text += '\n';
        m_wantsLine = false;
        if (m_text.size() >= kPiece) {
            flush();
        }
    } else if (m_text.size() > 1 && m_text.back() == ',') {
        m_text += ' ';
    }
    if (!name.empty()) {
        quoted(name);
        m_text += ": ";
    }
}

void JsonWriter::begin(std::string_view name, char bracket) {
    member(name);
    m_text += bracket;
    m_isFirst = true;
}

void JsonWriter::beginObject(std::string_view name) {
    begin(name, '{');
}

void JsonWriter::beginArray(std::string_view name) {
    begin(name, '[');
}

void JsonWriter::end(char bracket) {
    m_text += bracket;
    m_isFirst = false;
}

void JsonWriter::quoted(std::string_view text) {
    if (isPlain(text)) {
        m_text.append(1, '"').append(text).append(1, '"');
    } else {
        m_text += dumped(text, nlohmann::json::error_handler_t::replace);
    }
}

void JsonWriter::text(std::string_view name, std::string_view value) {
    member(name);
    quoted(value);
}

void JsonWriter::diskText(std::string_view name, std::string_view bytes) {
    text(name, bytes);
    if (!isUtf8(bytes)) {
        text(std::string(name) + "_bytes", base64(bytes));
    }
}

void JsonWriter::value(std::string_view text) {
    m_text += text;
}

void JsonWriter::number(std::string_view name, std::uint64_t value) {
    std::array<char, 24> room{};
    member(name);
    this->value(digitsOf(value, room));
}

void JsonWriter::number(std::string_view name, int value) {
    std::array<char, 24> room{};
    member(name);
    this->value(digitsOf(value, room));
}

void JsonWriter::number(std::string_view name, std::optional<std::uint64_t> value) {
    if (value) {
        number(name, *value);
    } else {
        null(name);
    }
}

void JsonWriter::truth(std::string_view name, bool value) {
    member(name);
    this->value(value ? "true" : "false");
}

void JsonWriter::null(std::string_view name) {
    member(name);
    value("null");
}

void JsonWriter::time(std::string_view name, long seconds) {
    if (seconds == 0) {
        null(name);
    } else {
        text(name, utcText(seconds));
    }
}

std::string base64(std::string_view bytes) {
    static constexpr char kDigits[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        unsigned three = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            const char byte = i + k < bytes.size() ? bytes[i + k] : '\0';
            three = three << 8U | static_cast<unsigned char>(byte);
        }
        for (std::size_t k = 0; k < 4; ++k) {
            text += i + k > bytes.size() ? '=' : kDigits[three >> (18U - 6U * k) & 63U];
        }
    }
    return text;
}

bool isUtf8(std::string_view bytes) {
    if (isPlain(bytes)) {
        return true;
    }
    try {
        dumped(bytes, nlohmann::json::error_handler_t::strict);
        return true;
    } catch (const nlohmann::json::type_error&) {
        return false;
    }
}

std::string asUtf8(std::string_view bytes) {
    if (isUtf8(bytes)) {
        return std::string(bytes);
    }
    const std::string text = dumped(bytes, nlohmann::json::error_handler_t::replace);
    return nlohmann::json::parse(text).get<std::string>();
}

std::string utcText(long seconds) {
    std::tm time{};
    char text[64];
    const std::time_t whole = seconds;
    if (::gmtime_r(&whole, &time) == nullptr) {
        return "";
    }
    return {text, std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &time)};
}

} // namespace corvid
