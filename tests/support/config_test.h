#pragma once

// The global settings file of a test's own world, and questions to the store that reads it.

#include "files/owned_text.h"
#include "store/KavroPISSConfig.h"
#include "tests/support/product_root.h"

#include <optional>
#include <string>

namespace corvid::test {

class ConfigTest : public ProductTest {
protected:
    std::string file() const { return root.productFile("Config.txt"); }
    void write(const std::string& text) const { writeFile(file(), text); }
    static std::optional<std::string> text(KavroPISSConfig& config, const char* key,
                                           const char* scope = "default") {
        char* value = nullptr;
        const bool found = config.GetItem(&value, scope, key);
        const OwnedText owned(value);
        EXPECT_EQ(found, value != nullptr);
        return found ? std::optional<std::string>(value) : std::nullopt;
    }
    static std::optional<int> number(KavroPISSConfig& config, const char* key,
                                     const char* scope = "default") {
        int value = 12345;
        const bool found = config.GetItem(&value, scope, key);
        if (!found) {
            EXPECT_EQ(0, value);
        }
        return found ? std::optional<int>(value) : std::nullopt;
    }
};

} // namespace corvid::test
