#pragma once

// The list of the caches in its forms for scripts.

#include "upkeep/cache_list.h"
#include "upkeep/json_writer.h"

namespace corvid {

// What is left out lies deeper; the sums stay.
enum class ListDepth { Root, Project, Composition, Feature };

// The members "schema", "command" and "at" of every document; the object stays open.
void beginDocument(JsonWriter& json, std::string_view command, long at);
// The members "complete" and "problems".
void writeState(JsonWriter& json, bool isComplete, const std::vector<ListProblem>& problems);

// The members "roots" and "totals". `pinnedKeys` are those of pinned projects.
void writeList(JsonWriter& json, const CacheList& list, ListDepth depth,
               const std::vector<std::string>& pinnedKeys);

// A header line and one line per item of the deepest level that is left, as RFC 4180 has them.
void writeListCsv(const TextSink& sink, const CacheList& list, ListDepth depth);

// JSON Lines: one object a feature, with where it lies.
void writeListLines(const TextSink& sink, const CacheList& list);

} // namespace corvid
