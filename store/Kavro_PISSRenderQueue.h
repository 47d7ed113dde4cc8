#pragma once

// The queue of background render jobs, "RQ.txt" in the render queue's directory.
//
// A transaction reads the whole queue, holds the file open, changes the queue in memory and ends
// with Commit(), which writes "ShadowRQ.txt" and copies it over "RQ.txt". Jobs that are done move
// to "RQ-History.txt". Processes do not lock each other out: the last Commit() wins. An object
// belongs to one thread at a time. One job, in each of the three files:
//
//   {
//   TAB name BLANK string TAB key BLANK text
//   TAB name BLANK int TAB key BLANK number
//   TAB {
//   TAB TAB {
//   TAB TAB TAB name BLANK string TAB key BLANK text
//   TAB TAB }
//   TAB }
//   }
//
// with any number of pairs and of modules (the two inner braces and what is between them). Readers
// take lines in pieces of 1023 bytes, so no longer line is ever written.

#include "files/owned_list.h"
#include "files/owned_text.h"
#include "files/unique_fd.h"
#include "store/if_missing.h"
#include "store/kvp_line.h"

#include <string>
#include <vector>

// One typed pair, owned by its item or module and not to be freed by anybody else.
struct sRenderQueueItemKVPEntry {
    char* name;
    int type; // 0 text, 1 integer
    char* key;
    union {
        char* value;  // type 0
        int intValue; // type 1
    };
    sRenderQueueItemKVPEntry* next;
};

namespace corvid {

constexpr int kRenderQueueText = 0;
constexpr int kRenderQueueInteger = 1;

void destroyRenderQueuePair(sRenderQueueItemKVPEntry* pair);

// What a reader of an item, or of a module, passes over or keeps (see LineRule).
bool isHarmlessInItem(const KvpFields& line);
bool isHarmlessInModule(const KvpFields& line);

// The pairs of one item or of one module, in file order. Add and change refuse (0) null texts only.
// A pair whose line would break the file (a brace for a name, a line feed, a line of more than 1023
// characters with its indent) is left out of it with one warning. Leading blanks of a value are
// lost when the queue is read again.
class RenderQueuePairs {
public:
    // `indent` stands before each line and outlives the object.
    RenderQueuePairs(const char* indent, LineRule isHarmless)
        : m_indent(indent), m_isHarmless(isHarmless) {}

    int add(const char* name, const char* key, const char* value);
    int add(const char* name, const char* key, int value);
    int getItem(char** value, const char* name, const char* key) const;
    int getItem(int* value, const char* name, const char* key) const;
    int changeItem(const char* name, const char* key, const char* value);
    int changeItem(const char* name, const char* key, int value);

    int count() const { return static_cast<int>(m_pairs.count()); }
    int prepare() { return m_pairs.prepare() ? 1 : 0; }
    sRenderQueueItemKVPEntry* next() { return m_pairs.next(); }
    sRenderQueueItemKVPEntry* head() const { return m_pairs.head(); }
    void formatTo(std::string& out) const;

private:
    sRenderQueueItemKVPEntry* find(int type, const char* name, const char* key) const;

    OwnedList<sRenderQueueItemKVPEntry, destroyRenderQueuePair> m_pairs;
    const char* m_indent;
    LineRule m_isHarmless;
};

} // namespace corvid

// One output module of a job. All of its pairs are texts.
class KavroPISSRenderQueueItemOutputModule {
public:
    // Appends a pair; an existing one with that name and key stays and is found first. 0 when out
    // of memory and for a null text (see corvid::RenderQueuePairs).
    int Add(const char* name, const char* key, const char* value) {
        return m_pairs.add(name, key, value);
    }
    // The first value for a name and key, as a copy that the caller releases with free(); else null
    // and 0.
    int GetItem(char** value, const char* name, const char* key) const {
        return m_pairs.getItem(value, name, key);
    }
    // Puts the cursor on the first pair; whether there is one.
    int PrepareOMKVPList() { return m_pairs.prepare(); }
    // The pair under the cursor, still owned by the module; null at the end.
    sRenderQueueItemKVPEntry* GetNextOMKVPInList() { return m_pairs.next(); }
    int GetNumberOfKVPEntries() const { return m_pairs.count(); }

    // Appends the module's lines, braces included.
    void formatTo(std::string& out) const;

private:
    corvid::RenderQueuePairs m_pairs{"\t\t\t", corvid::isHarmlessInModule};
};

// One module's place in an item.
struct sRenderQueueItemOutputModuleEntry {
    KavroPISSRenderQueueItemOutputModule* module; // owned
    sRenderQueueItemOutputModuleEntry* next;
};

namespace corvid {
void destroyOutputModuleEntry(sRenderQueueItemOutputModuleEntry* entry);
} // namespace corvid

// One job: its pairs and its output modules, both in file order.
class KavroPISSRenderQueueItem {
public:
    // Appends a pair; an existing one with that name and key stays and is found first. 0 when out
    // of memory and for a null text (see corvid::RenderQueuePairs).
    int Add(const char* name, const char* key, const char* value) {
        return m_pairs.add(name, key, value);
    }
    int Add(const char* name, const char* key, int value) { return m_pairs.add(name, key, value); }
    // The first value of that type for a name and key; a text is a copy that the caller releases
    // with free(). On a miss, null or 0 in *value and 0.
    int GetItem(char** value, const char* name, const char* key) const {
        return m_pairs.getItem(value, name, key);
    }
    int GetItem(int* value, const char* name, const char* key) const {
        return m_pairs.getItem(value, name, key);
    }
    // Replaces that value; 0, with nothing changed, on a miss, for a null text and when out of
    // memory.
    int ChangeItem(const char* name, const char* key, const char* value) {
        return m_pairs.changeItem(name, key, value);
    }
    int ChangeItem(const char* name, const char* key, int value) {
        return m_pairs.changeItem(name, key, value);
    }

    int NumberOfKeyValuePairsInList() const { return m_pairs.count(); }
    // Puts the cursor on the first pair; whether there is one.
    int PrepareKeyValuePairList() { return m_pairs.prepare(); }
    // The pair under the cursor, still owned by the item; null at the end.
    sRenderQueueItemKVPEntry* GetNextKeyValuePairInList() { return m_pairs.next(); }
    // The first pair, still owned by the item; null when there is none.
    sRenderQueueItemKVPEntry* getHeadItem() const { return m_pairs.head(); }
    // Copies an entry's key and its value as text, each cut to its buffer (a null buffer or a size
    // below 1 gets nothing), and returns the next entry; null at the end and for a null entry.
    static sRenderQueueItemKVPEntry* getItemData(const sRenderQueueItemKVPEntry* entry, char* key,
                                                 int keySize, char* value, int valueSize);

    int NumberOfOutputModulesInList() const { return static_cast<int>(m_modules.count()); }
    // Puts the cursor on the first module; whether there is one.
    int PrepareOuputModuleList() { return m_modules.prepare() ? 1 : 0; }
    // The module under the cursor, still owned by the item; null at the end.
    KavroPISSRenderQueueItemOutputModule* GetNextOutputModuleInList();
    // Appends a module made with new and takes it over. 0 for null and when out of memory: the
    // module is then still the caller's.
    int AddNewOutputModule(KavroPISSRenderQueueItemOutputModule* module);

    // Appends the job's lines, braces included.
    void formatTo(std::string& out) const;

private:
    corvid::RenderQueuePairs m_pairs{"\t", corvid::isHarmlessInItem};
    corvid::OwnedList<sRenderQueueItemOutputModuleEntry, corvid::destroyOutputModuleEntry>
        m_modules;
};

// One item's place in the queue.
struct sRenderQueueItemEntry {
    KavroPISSRenderQueueItem* item; // owned
    int index; // the number of items just after this one was appended; may repeat
    sRenderQueueItemEntry* next;
};

namespace corvid {
void destroyRenderQueueEntry(sRenderQueueItemEntry* entry);
} // namespace corvid

// Lookups by index are about constant time while the queue does not change.
class KavroPISSRenderQueue {
public:
    // Finds the directory in the global settings (the default one, with two error lines, when it is
    // not set) and creates it with its "RQProjects". Reads nothing: see StartTransaction().
    KavroPISSRenderQueue() : KavroPISSRenderQueue(corvid::IfMissing::Create) {}
    // The same for those who only look: neither makes anything, and a missing queue is an empty
    // one.
    explicit KavroPISSRenderQueue(corvid::IfMissing ifMissing);
    virtual ~KavroPISSRenderQueue();
    KavroPISSRenderQueue(const KavroPISSRenderQueue&) = delete;
    KavroPISSRenderQueue& operator=(const KavroPISSRenderQueue&) = delete;

    // Drops the items in memory, reads "RQ.txt" (creates it when it is missing) and holds it open.
    // 0 with a warning when it cannot be created or read, or is broken: the items before the break
    // are then in memory, and a Commit() would write only those. Of a file that could not be read
    // to its end or to a break, for want of rights or of memory, Commit() writes nothing.
    int StartTransaction();
    // Ends the hold and replaces the file by the items in memory. 0 with one error line when that
    // fails, or the file could not be read: "RQ.txt" keeps its old text and the items stay in
    // memory.
    int Commit();
    // Ends the hold without writing. Always 1.
    int CloseFileIfOpen();

    int NumberOfRenderQueueItemsInList() const { return static_cast<int>(m_items.count()); }
    // Puts the cursor on the first item; whether there is one.
    int PrepareRenderQueueList() { return m_items.prepare() ? 1 : 0; }
    // The item under the cursor, still owned by the queue; null at the end.
    KavroPISSRenderQueueItem* GetNextRenderQueueItemInList();
    // The first item with that list index, still owned by the queue; null when there is none.
    KavroPISSRenderQueueItem* GetSpecificRenderQueueItemInList(int index);

    // Appends an item made with new and takes it over; its list index is the number of items then.
    // 0 for null and when out of memory: the queue is unchanged and the item still the caller's.
    int AddNewRenderQueueItem(KavroPISSRenderQueueItem* item);
    // The same, but refuses (0, as above) an item that has, under any pair with this name, the text
    // value of a queued item's pair with this name. One error line when an integer pair had to be
    // compared, which it cannot be. A null name is refused.
    int AddNewRenderQueueItem(KavroPISSRenderQueueItem* item, const char* key);

    // Each destroys the items it removes; the others keep their indices. 0 when there is no such
    // item.
    int DeleteRenderQueueItem(int index);
    int DeleteRenderQueueItemAtIndex(int position); // from 0, by place in the list
    int DeleteAllRenderQueueItems();                // always 1
    // Moves the item with index `from` before the one with index `to`, or to the end when there is
    // none; nothing moves when `to` is `from` or `from` + 1. Indices stay with their items, the
    // cursor keeps its place in the list. 0 for an index below 1 and for no such item.
    int MoveRenderQueueItem(int from, int to);
    // Appends the item with that index to "RQ-History.txt" and then removes the item at the
    // position index - 1, which is the same one while the indices run 1, 2, 3. "RQ.txt" changes
    // with the next Commit(). 0 with a message when there is no such item or nothing could be
    // written (the item then stays in the queue), or nothing stands at that position.
    int MoveRenderQueueItemToHistory(int index);
    // Writes the path of the next numbered backup project into a buffer of `size` bytes. 0 with one
    // error line, and an empty text, when it does not fit (no number is used up then), the numbers
    // have run out or the counter cannot be written.
    int CreateBackupProjectName(char* buffer, int size);

private:
    const char* queuePath() const { return m_path != nullptr ? m_path.get() : ""; }
    const char* shadowPath() const { return m_shadowPath != nullptr ? m_shadowPath.get() : ""; }

    int AddToList(KavroPISSRenderQueueItem* item);
    sRenderQueueItemEntry* find(int index);
    int removeEntry(const sRenderQueueItemEntry& doomed);
    void fillIndex();
    bool isQueued(const KavroPISSRenderQueueItem& item, const char* name) const;
    bool isHeldFileEmpty() const;
    int createQueueFile(int whyUnreadable);
    void openForHold();
    int readItems();
    int writeQueue();
    int moveToHistory(int index);
    int nameBackup(char* buffer, int size) const;
    bool writeShadow(const std::string& text) const;
    // `text` is room to work in.
    bool copyShadowOverQueue(std::string& text) const;

    const corvid::IfMissing m_ifMissing;
    corvid::OwnedText m_path;
    corvid::UniqueFd m_file; // the transaction's hold on "RQ.txt"
    bool m_isUnread = false; // the items are not what the file holds, nor what a reader makes of it
    corvid::OwnedList<sRenderQueueItemEntry, corvid::destroyRenderQueueEntry> m_items;
    corvid::OwnedText m_shadowPath;
    corvid::OwnedText m_projectsPath; // with "/" at its end
    std::vector<sRenderQueueItemEntry*>
        m_byIndex; // first entry of each index; empty when out of date
};
