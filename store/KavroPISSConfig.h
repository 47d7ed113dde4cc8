#pragma once

// The machine-wide settings of the product family: "Config.txt" in the product's folder.
//
// An object reads the whole file when it is made and keeps it as a list; changes are made in memory
// until Commit() rewrites the file; destroying the object discards them. Processes do not lock each
// other out: the last Commit() wins. An empty line ends the reading, and a Commit() then drops what
// stood behind it.

#include "store/if_missing.h"
#include "store/kvp_file.h"

#include <cstdint>
#include <string>

class KavroPISSConfig {
public:
    // Reads the file. Test IsValid() before use: a file that cannot be read (it is then created
    // with the defaults, if it was missing) or that holds an unknown type word makes an invalid
    // object.
    KavroPISSConfig() : KavroPISSConfig(corvid::IfMissing::Create) {}
    // The same for those who only look.
    explicit KavroPISSConfig(corvid::IfMissing ifMissing);
    ~KavroPISSConfig();
    KavroPISSConfig(const KavroPISSConfig&) = delete;
    KavroPISSConfig& operator=(const KavroPISSConfig&) = delete;

    int IsValid() const { return m_valid; }
    // Creates the file when it is missing and adds, behind what is there, each setting it lacks
    // with its default. A file that exists but cannot be read is left alone.
    static void initializePISSConfig();

    // Always 1: changes are in memory until Commit() in any case.
    int StartTransaction() { return 1; }
    // Rewrites the file. A line that would do harm to others is left out with one warning; the
    // result is true all the same. False with one warning when the file cannot be opened or written
    // (it keeps its old text) or an entry's type is unknown (the file then holds the lines before
    // it).
    bool Commit();

    std::uint32_t NumberOfKeyValuePairsInList() const { return m_file.count(); }
    // Puts the cursor on the first entry; whether there is one.
    bool PrepareKeyValuePairList() { return m_file.prepare(); }
    // The entry under the cursor, still owned by the store; null at the end.
    tConfigKVPEntry* GetNextKeyValuePairInList() { return m_file.next(); }

    // Appends an entry; an existing one with the same key stays and is found first. False when out
    // of memory and for a null scope or key. Any other text is kept; what a line of the file cannot
    // carry (a line feed, more than 1023 characters) Commit() leaves out of it.
    bool Add(const char* scope, const char* key, const char* value);
    bool Add(const char* scope, const char* key, int value);
    // The first entry with that key and scope, compared exactly. The text is a copy that the caller
    // releases with free(). On a miss, null or 0 and false.
    bool GetItem(char** value, const char* scope, const char* key);
    bool GetItem(int* value, const char* scope, const char* key);
    // Changes the value of the first such entry; false when there is none.
    bool ChangeItem(const char* scope, const char* key, const char* value);
    bool ChangeItem(const char* scope, const char* key, int value);

    // The full path of "Config.txt" itself, owned by the object.
    const char* getRootPathToProjectConfigFile() const { return m_file.path().c_str(); }

private:
    static void completeFile(const std::string& path);
    void read(corvid::IfMissing ifMissing);
    corvid::AfterLine readLine(const corvid::KvpFields& fields);

    int m_valid = 1;
    corvid::TypedKvpFile m_file;
};
