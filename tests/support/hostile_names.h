#pragma once

// Names that mean something to a shell, to an option parser or to a printing function, and one of
// every byte that a name may hold. None is hidden.

#include <string>
#include <vector>

namespace corvid::test {

inline std::vector<std::string> hostileNames() {
    std::string everyByte;
    for (int byte = 1; byte < 256; ++byte) {
        if (byte != '/') {
            everyByte.append(1, static_cast<char>(byte));
        }
    }
    return {"$(touch canary)",
            "`touch canary`",
            "a\"; touch canary; \"",
            "'; touch canary; '",
            "\ntouch canary\n",
            "; touch canary ;",
            "&& touch canary",
            "| touch canary",
            "\\$(touch canary)",
            "\\\"; touch canary; \\\"",
            "-rf",
            "-t",
            "--help",
            "%s%n%d%999999d",
            "\\",
            "\\\"",
            "*",
            "?",
            "[a-z]",
            "~",
            "$HOME",
            "!!",
            " ",
            "#",
            "{a,b}",
            everyByte};
}

} // namespace corvid::test
