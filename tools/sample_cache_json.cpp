#include "tools/sample_cache.h"

#include <cstdio>

namespace corvid {

namespace {

std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char character : text) {
        if (character == '"' || character == '\\') {
            result += '\\';
            result += character;
        } else if (static_cast<unsigned char>(character) < 0x20) {
            char escaped[8];
            static_cast<void>(
                std::snprintf(escaped, sizeof(escaped), "\\u%04x",
                              static_cast<unsigned>(static_cast<unsigned char>(character))));
            result += escaped;
        } else {
            result += character;
        }
    }
    return result + '"';
}

std::string dateText(const SampleDate& date) {
    switch (date.kind) {
    case SampleDate::Kind::Known:
        return std::to_string(date.seconds);
    case SampleDate::Kind::TimeOfReading:
        return "\"time of reading\"";
    case SampleDate::Kind::Never:
        return "null";
    }
    return "null";
}

std::string amounts(std::uint64_t bytes, std::uint64_t files, const SampleDate& newest) {
    return "\"bytes\": " + std::to_string(bytes) + ", \"files\": " + std::to_string(files) +
           ", \"newest\": " + dateText(newest);
}

void append(std::string& text, const SampleNode& node, const std::string* cacheRoot, int depth) {
    const std::string indentation(static_cast<std::size_t>(depth) * 2, ' ');
    text += indentation + "{\"name\": " + quoted(node.name) + ", \"path\": " + quoted(node.path);
    if (cacheRoot != nullptr) {
        text += ", \"cacheRoot\": " + quoted(*cacheRoot);
    }
    text += ", " + amounts(node.bytes, node.files, node.newest) + ", \"members\": [";
    const char* separator = "\n";
    for (const SampleNode& member : node.members) {
        text += separator;
        append(text, member, nullptr, depth + 1);
        separator = ",\n";
    }
    text += node.members.empty() ? "]}" : "\n" + indentation + "]}";
}

} // namespace

std::string toJson(const SampleCache& cache) {
    std::string text =
        "{\"configDirectory\": " + quoted(cache.configDirectory) + ",\n\"cacheRoots\": [";
    const char* separator = "";
    for (const std::string& root : cache.cacheRoots) {
        text += separator + quoted(root);
        separator = ", ";
    }
    text += "],\n" + amounts(cache.bytes, cache.files, cache.newest) + ",\n\"projects\": [";
    separator = "\n";
    for (const SampleProject& project : cache.projects) {
        text += separator;
        append(text, project.node, &project.cacheRoot, 1);
        separator = ",\n";
    }
    return text + "\n]}\n";
}

} // namespace corvid
