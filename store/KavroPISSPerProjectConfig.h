#pragma once

// Settings of one host project, or of one composition in it, in a hidden file beside the project
// file.
//
//   cvp-version:1
//   <hash of the identity> string TAB key value
//
// Settings are keyed by the identity of the project or composition, which the file holds only as
// its hash. An object reads the whole file when it is made; changes stay in memory until Commit().
// An out-of-date or foreign file is not read, and the next Commit() replaces it.

#include "store/kvp_file.h"

#include <cstdint>
#include <string>

// A project's identity, name and folder, told from the path of its project file: "/Shots/Edit.aep"
// has the folder "/Shots/", the name "Edit.aep" and the identity "/Shots/::*::Edit.aep".
struct KavroPISSProjectKeys {
    // All three texts stay empty when there is no memory for them.
    explicit KavroPISSProjectKeys(const char* projectPath);

    std::string identity;
    std::string name;
    std::string folder;
};

// A composition's identity, stable across runs, with the keys of the project that holds it, which
// must outlive this.
struct KavroPISSCompKeys {
    std::string identity;
    std::string name;
    const KavroPISSProjectKeys* project;
};

class KavroPISSPerProjectConfig {
public:
    // Reads the file in the folder. A null or empty folder (one warning) makes an empty store that
    // cannot be committed; a file that cannot be opened an empty one that can.
    explicit KavroPISSPerProjectConfig(const char* projectFolder);
    ~KavroPISSPerProjectConfig();
    KavroPISSPerProjectConfig(const KavroPISSPerProjectConfig&) = delete;
    KavroPISSPerProjectConfig& operator=(const KavroPISSPerProjectConfig&) = delete;

    int StartTransaction() { return 1; }
    // Rewrites the file; a line that would do harm to others is left out with one warning. False
    // without a path (silently), with one warning when the file cannot be
    // opened or written (it keeps its old text) or an entry's type is unknown (it then holds the
    // lines before it).
    bool Commit();

    std::uint32_t NumberOfKeyValuePairsInList();
    bool PrepareKeyValuePairList() { return m_file.prepare(); }
    // The entry under the cursor, still owned by the store; null at the end.
    tConfigKVPEntry* GetNextKeyValuePairInList() { return m_file.next(); }

    // As in the global store, with the hash of `name`, an identity, as the scope.
    bool Add(const char* name, const char* key, const char* value);
    bool Add(const char* name, const char* key, int value);
    bool GetItem(char** value, const char* name, const char* key);
    bool GetItem(int* value, const char* name, const char* key);
    bool ChangeItem(const char* name, const char* key, const char* value);
    bool ChangeItem(const char* name, const char* key, int value);
    // Appends under a hash as it stands, without the lock: for the time of reading.
    bool AddWithoutHashing(const char* hashedName, const char* key, const char* value);
    bool AddWithoutHashing(const char* hashedName, const char* key, int value);

private:
    corvid::AfterLine readLine(const corvid::KvpFields& fields);
    bool isHeaderOfOurs(char* line) const;

    std::string m_projectFolder;
    corvid::TypedKvpFile m_file;
};
