#include "upkeep/list_document.h"

#include "files/path_text.h"
#include "store/features.h"

#include <algorithm>

namespace corvid {

void beginDocument(JsonWriter& json, std::string_view command, long at) {
    json.beginObject();
    json.text("schema", "corvid-cache/1");
    json.text("command", command);
    json.time("at", at);
}

void writeState(JsonWriter& json, bool isComplete, const std::vector<ListProblem>& problems) {
    json.truth("complete", isComplete);
    json.beginArray("problems");
    for (const ListProblem& problem : problems) {
        json.newLine();
        json.beginObject();
        json.diskText("path", problem.path);
        json.text("kind", wordOf(problem.kind));
        json.text("message", problem.message);
        json.number("count", problem.count);
        json.endObject();
    }
    json.endArray();
}

namespace {

void writeNumbers(JsonWriter& json, const ListNumbers& numbers) {
    json.number("bytes", numbers.bytes);
    json.number("allocated", numbers.allocated);
    json.number("files", numbers.files);
    json.time("newest", numbers.newest);
    json.time("oldest", numbers.oldest);
}

void writeFeatureMembers(JsonWriter& json, const ListedFeature& feature,
                         const std::string& composition) {
    json.diskText("feature", feature.directory);
    if (feature.label() != nullptr) {
        json.text("label", feature.label());
    } else {
        json.null("label");
    }
    json.diskText("path", composition + "/" + feature.directory);
    writeNumbers(json, feature.numbers);
    json.number("first_frame", feature.firstFrame);
    json.number("last_frame", feature.lastFrame);
}

void writeFeature(JsonWriter& json, const ListedFeature& feature, const std::string& composition) {
    json.newLine();
    json.beginObject();
    writeFeatureMembers(json, feature, composition);
    json.endObject();
}

void writeComposition(JsonWriter& json, const ListedComposition& composition,
                      const std::string& root, const std::string& project, ListDepth depth) {
    const std::string id = project + "/" + composition.directory;
    const std::string path = root + id;
    json.newLine();
    json.beginObject();
    json.diskText("id", id);
    json.diskText("key", composition.key);
    json.diskText("name", shownName(composition.key));
    json.diskText("path", path);
    writeNumbers(json, composition.numbers);
    json.beginArray("features");
    if (depth == ListDepth::Feature) {
        for (const ListedFeature& feature : composition.features) {
            writeFeature(json, feature, path);
        }
    }
    json.endArray();
    json.endObject();
}

void writeProject(JsonWriter& json, const ListedProject& project, const std::string& root,
                  ListDepth depth, bool isPinned) {
    json.newLine();
    json.beginObject();
    json.diskText("id", project.directory);
    json.diskText("key", project.key);
    json.diskText("name", shownName(project.key));
    json.diskText("path", root + project.directory);
    json.truth("pinned", isPinned);
    json.text("project_file", wordOf(project.projectFile));
    writeNumbers(json, project.numbers);
    json.beginArray("compositions");
    if (depth >= ListDepth::Composition) {
        for (const ListedComposition& composition : project.compositions) {
            writeComposition(json, composition, root, project.directory, depth);
        }
    }
    json.endArray();
    json.endObject();
}

void writeStray(JsonWriter& json, const ListedStray& stray, const std::string& root) {
    json.newLine();
    json.beginObject();
    json.diskText("path", root + stray.path);
    json.text("kind", wordOf(stray.kind));
    json.number("bytes", stray.numbers.bytes);
    json.number("allocated", stray.numbers.allocated);
    json.number("files", stray.numbers.files);
    json.time("newest", stray.numbers.newest);
    json.endObject();
}

void writeVolume(JsonWriter& json, const std::optional<ListedVolume>& volume) {
    if (!volume) {
        json.null("volume");
        return;
    }
    json.beginObject("volume");
    json.text("id", volume->id);
    json.number("total", volume->total);
    json.number("free", volume->free);
    json.endObject();
}

void writeRoot(JsonWriter& json, const ListedRoot& root, ListDepth depth,
               const std::vector<std::string>& pinnedKeys) {
    const std::string path = rootPath(root.path);
    json.newLine();
    json.beginObject();
    json.diskText("path", root.path);
    json.text("state", wordOf(root.state));
    writeVolume(json, root.volume);
    writeNumbers(json, root.numbers);
    json.beginArray("projects");
    if (depth >= ListDepth::Project) {
        for (const ListedProject& project : root.projects) {
            const bool isPinned =
                std::find(pinnedKeys.begin(), pinnedKeys.end(), project.key) != pinnedKeys.end();
            writeProject(json, project, path, depth, isPinned);
        }
    }
    json.endArray();
    json.beginArray("strays");
    if (depth >= ListDepth::Project) {
        for (const ListedStray& stray : root.strays) {
            writeStray(json, stray, path);
        }
    }
    json.endArray();
    json.endObject();
}

} // namespace

void writeList(JsonWriter& json, const CacheList& list, ListDepth depth,
               const std::vector<std::string>& pinnedKeys) {
    json.newLine();
    json.beginArray("roots");
    for (const ListedRoot& root : list.roots) {
        writeRoot(json, root, depth, pinnedKeys);
    }
    json.endArray();
    json.newLine();
    json.beginObject("totals");
    json.number("roots", list.roots.size());
    json.number("projects", list.projects);
    json.number("compositions", list.compositions);
    json.number("features", list.features);
    writeNumbers(json, list.totals);
    json.beginObject("strays");
    json.number("count", list.strays.count);
    json.number("bytes", list.strays.numbers.bytes);
    json.number("allocated", list.strays.numbers.allocated);
    json.number("files", list.strays.numbers.files);
    json.endObject();
    json.endObject();
}

namespace {

// Lines are put together and handed on in pieces.
class CsvWriter {
public:
    explicit CsvWriter(const TextSink& sink) : m_sink(sink) {
        m_text = "root,project,composition,feature,bytes,allocated,files,oldest,newest,path\r\n";
    }
    void line(const std::string& root, std::string_view project, std::string_view composition,
              std::string_view feature, const ListNumbers& numbers, const std::string& path) {
        for (const std::string_view name :
             {std::string_view(root), project, composition, feature}) {
            field(name);
        }
        for (const std::uint64_t number : {numbers.bytes, numbers.allocated, numbers.files}) {
            m_text.append(std::to_string(number)).append(1, ',');
        }
        for (const long time : {numbers.oldest, numbers.newest}) {
            m_text.append(time != 0 ? utcText(time) : "").append(1, ',');
        }
        field(path);
        m_text.replace(m_text.size() - 1, 1, "\r\n");
        if (m_text.size() > kPiece) {
            finish();
        }
    }
    void finish() {
        m_sink(m_text);
        m_text.clear();
    }

private:
    static constexpr std::size_t kPiece = std::size_t{64} * 1024;

    void field(std::string_view bytes) {
        const std::string text = asUtf8(bytes);
        if (text.find_first_of(",\"\r\n") == std::string::npos) {
            m_text.append(text).append(1, ',');
            return;
        }
        m_text += '"';
        for (const char character : text) {
            m_text.append(character == '"' ? 2 : 1, character);
        }
        m_text += "\",";
    }

    const TextSink& m_sink;
    std::string m_text;
};

void writeProjectCsv(CsvWriter& csv, const ListedRoot& root, const ListedProject& project,
                     ListDepth depth) {
    const std::string path = rootPath(root.path) + project.directory;
    if (depth == ListDepth::Project) {
        csv.line(root.path, project.key, "", "", project.numbers, path);
        return;
    }
    for (const ListedComposition& composition : project.compositions) {
        const std::string below = path + "/" + composition.directory;
        if (depth == ListDepth::Composition) {
            csv.line(root.path, project.key, composition.key, "", composition.numbers, below);
            continue;
        }
        for (const ListedFeature& feature : composition.features) {
            csv.line(root.path, project.key, composition.key, feature.directory, feature.numbers,
                     below + "/" + feature.directory);
        }
    }
}

} // namespace

void writeListCsv(const TextSink& sink, const CacheList& list, ListDepth depth) {
    CsvWriter csv(sink);
    for (const ListedRoot& root : list.roots) {
        if (depth == ListDepth::Root) {
            csv.line(root.path, "", "", "", root.numbers, root.path);
            continue;
        }
        for (const ListedProject& project : root.projects) {
            writeProjectCsv(csv, root, project, depth);
        }
    }
    csv.finish();
}

void writeListLines(const TextSink& sink, const CacheList& list) {
    JsonWriter json(sink);
    for (const ListedRoot& root : list.roots) {
        for (const ListedProject& project : root.projects) {
            for (const ListedComposition& composition : project.compositions) {
                const std::string path =
                    rootPath(root.path) + project.directory + "/" + composition.directory;
                for (const ListedFeature& feature : composition.features) {
                    json.beginObject();
                    json.diskText("root", root.path);
                    json.diskText("project", project.key);
                    json.diskText("composition", composition.key);
                    writeFeatureMembers(json, feature, path);
                    json.endObject();
                    json.endDocument();
                }
            }
        }
    }
    json.flush();
}

} // namespace corvid
