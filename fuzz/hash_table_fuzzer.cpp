// Any bytes as a hash table, read by the frame cache model and, independently, here: both find the
// same keys and hashes, and what the model writes is read again unchanged.

#include "fuzz/round_trip.h"
#include "store/KavroPISSFrameCache.h"

#include <array>
#include <map>
#include <memory_resource>
#include <set>
#include <utility>
#include <vector>

using namespace corvid::fuzz; // NOLINT(google-build-using-namespace)

namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>; // hash, key
using Piece = std::string_view;

constexpr Piece kBlanks = " \t";

// The next piece, its line feed included.
Piece takePiece(Piece& rest) {
    const std::size_t feed = rest.substr(0, corvid::kLinePiece).find('\n');
    const Piece piece = rest.substr(0, feed != Piece::npos ? feed + 1 : corvid::kLinePiece);
    rest.remove_prefix(piece.size());
    return piece;
}

// The format's plain reading: hash, blanks, key to the end of the line; an empty line ends it.
Pairs pairsOf(Piece rest) {
    Pairs pairs;
    while (!rest.empty()) {
        Piece line = takePiece(rest);
        line = line.substr(0, line.find('\0'));
        if (!line.empty() && line.back() == '\n') {
            line.remove_suffix(1);
        }
        line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
        const Piece hash = line.substr(0, line.find_first_of(kBlanks));
        if (hash.empty()) {
            break;
        }
        const Piece behind = line.substr(hash.size());
        const std::size_t key = behind.find_first_not_of(kBlanks);
        if (key != Piece::npos) {
            pairs.emplace_back(hash.substr(0, corvid::kTableHashLength), behind.substr(key));
        }
    }
    return pairs;
}

// Where the sets and maps of one input live: most of a run would otherwise go into the sanitizer's
// records of their nodes.
class Arena {
public:
    std::pmr::memory_resource* resource() { return &m_resource; }

private:
    inline static std::array<char, std::size_t{256} * 1024> s_bytes; // for one arena at a time
    std::pmr::monotonic_buffer_resource m_resource{s_bytes.data(), s_bytes.size()};
};

// No pair twice: what a table's file holds once it was rewritten.
Pairs distinct(const Pairs& pairs) {
    Arena arena;
    Pairs kept;
    std::pmr::set<std::pair<Piece, Piece>> seen(arena.resource());
    for (const auto& pair : pairs) {
        if (seen.insert(pair).second) {
            kept.push_back(pair);
        }
    }
    return kept;
}

void requireFound(const KavroPISSFrameCache& cache, const Pairs& pairs) {
    Arena arena;
    std::pmr::map<Piece, Piece> keys(arena.resource());
    std::pmr::map<Piece, Piece> hashes(arena.resource());
    for (const auto& [hash, key] : pairs) {
        keys.emplace(hash, key);
        hashes.emplace(key, hash);
        require(cache.DoesProjectHashAlreadyExist(hash.c_str(), key.c_str()) != 0,
                "a pair is in the table");
    }
    char* text = nullptr;
    for (const auto& [hash, key] : keys) {
        require(cache.FindOriginalProjectKeyGivenHash(hash.data(), &text) != 0,
                "a hash has its key");
        requireEqual(key, corvid::OwnedText(text).get(), "the first key of a hash is found");
    }
    for (const auto& [key, hash] : hashes) {
        require(cache.FindProjectNameHashGivenKey(key.data(), &text) != 0, "a key has its hash");
        requireEqual(hash, corvid::OwnedText(text).get(), "the first hash of a key is found");
    }
}

// A line that fills a whole piece stands without a line feed, as it came.
std::string fileText(const Pairs& pairs) {
    std::string text;
    for (const auto& [hash, key] : pairs) {
        const bool isWholePiece = hash.size() + 1 + key.size() == corvid::kLinePiece;
        text.append(hash).append(1, ' ').append(key).append(isWholePiece ? "" : "\n");
    }
    return text;
}

std::string contentsOf(const std::string& path) {
    std::string text(8192, '\0');
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const ssize_t length = ::read(file, text.data(), text.size());
    ::close(file);
    text.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::string root = ScratchRoot::path() + "/";
    static const std::string path = root + "ProjectHash.txt";
    static KavroPISSFrameCache cache(root.c_str());
    writeFile(path, data, size);
    const Pairs pairs = pairsOf({reinterpret_cast<const char*>(data), size});
    require(cache.ReadProjectHashTable() != 0, "the table can be read");
    requireFound(cache, pairs);

    require(cache.WriteProjectHashTable() != 0, "the table can be written");
    const Pairs kept = distinct(pairs);
    requireEqual(fileText(kept), contentsOf(path), "the table is written in order, no pair twice");
    require(cache.ReadProjectHashTable() != 0, "what was written can be read");
    requireFound(cache, kept);
    return 0;
}
