#pragma once

// A project's folder, its settings file, and what an object reads from it.

#include "files/owned_text.h"
#include "store/KavroPISSPerProjectConfig.h"
#include "store/PISSMD5.h"
#include "tests/support/product_root.h"

#include <gtest/gtest.h>

#include <string>

namespace corvid::test {

class PerProjectConfigTest : public ProductTest {
protected:
    PerProjectConfigTest() { makeDirectory(folder()); }

    std::string folder() const { return root.path("Shots/"); }
    std::string file() const { return folder() + ".CorvidPro2ProjectConfig.cvp"; }
    void writeLines(const std::string& lines) const {
        writeFile(file(), "cvp-version:1\n" + lines);
    }
    static std::string stringLine(const std::string& name, const std::string& keyAndValue) {
        return hashOf(name) + " string\t" + keyAndValue + "\n";
    }
    static std::string intLine(const std::string& name, const std::string& keyAndValue) {
        return hashOf(name) + " int\t" + keyAndValue + "\n";
    }
    // The text, or "none" with the false result that goes with it.
    static std::string textOf(KavroPISSPerProjectConfig& config, const char* name,
                              const char* key) {
        char untouched[] = "untouched";
        char* text = untouched;
        if (!config.GetItem(&text, name, key)) {
            EXPECT_EQ(nullptr, text);
            return "none";
        }
        const OwnedText owned(text);
        return owned.get();
    }
    static std::string numberOf(KavroPISSPerProjectConfig& config, const char* name,
                                const char* key) {
        int number = -77;
        if (!config.GetItem(&number, name, key)) {
            EXPECT_EQ(0, number);
            return "none";
        }
        return std::to_string(number);
    }
};

} // namespace corvid::test
