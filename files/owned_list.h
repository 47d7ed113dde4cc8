#pragma once

#include <cstddef>

namespace corvid {

// A singly linked list with a cursor that owns its entries: the shape of every listing and of every
// store's entries. Entry has a field `Entry* next`; Destroy frees one entry with all that it owns.
template <class Entry, void (*Destroy)(Entry*)>
class OwnedList {
public:
    OwnedList() = default;
    ~OwnedList() { clear(); }
    OwnedList(const OwnedList&) = delete;
    OwnedList& operator=(const OwnedList&) = delete;

    Entry* head() const { return m_head; }
    Entry* cursor() const { return m_cursor; }
    std::size_t count() const { return m_count; }

    // Takes the entry over.
    void append(Entry* entry) {
        entry->next = nullptr;
        (m_tail != nullptr ? m_tail->next : m_head) = entry;
        m_tail = entry;
        ++m_count;
    }
    // Takes over a chain of `count` entries in place of the present ones; the cursor stands on the
    // first.
    void adopt(Entry* head, Entry* tail, std::size_t count) {
        clear();
        m_head = head;
        m_tail = tail;
        m_cursor = head;
        m_count = count;
    }
    // Puts the cursor on the first entry; whether there is one.
    bool prepare() {
        m_cursor = m_head;
        return m_head != nullptr;
    }
    // The entry under the cursor, which moves on; null at the end. The entry stays the list's.
    Entry* next() {
        Entry* entry = m_cursor;
        if (entry != nullptr) {
            m_cursor = entry->next;
        }
        return entry;
    }
    // The first entry that the predicate accepts, or null.
    template <class Predicate>
    Entry* find(Predicate accepts) const {
        Entry* entry = m_head;
        while (entry != nullptr && !accepts(*entry)) {
            entry = entry->next;
        }
        return entry;
    }
    // Destroys every entry that the predicate accepts; returns how many. A cursor on one of them
    // moves to the next entry that stays.
    template <class Predicate>
    std::size_t removeIf(Predicate accepts) {
        std::size_t removed = 0;
        Entry* kept = nullptr;
        Entry** link = &m_head;
        while (Entry* entry = *link) {
            if (!accepts(*entry)) {
                kept = entry;
                link = &entry->next;
                continue;
            }
            if (m_cursor == entry) {
                m_cursor = entry->next;
            }
            *link = entry->next;
            Destroy(entry);
            ++removed;
        }
        m_tail = kept;
        m_count -= removed;
        return removed;
    }
    void clear() {
        while (Entry* entry = m_head) {
            m_head = entry->next;
            Destroy(entry);
        }
        m_tail = nullptr;
        m_cursor = nullptr;
        m_count = 0;
    }

private:
    Entry* m_head = nullptr;
    Entry* m_tail = nullptr;
    Entry* m_cursor = nullptr;
    std::size_t m_count = 0;
};

} // namespace corvid
