// How fast a long render queue is loaded and committed, beside what the system's own `cat` takes to
// read the same file. The runs alternate, so that a change of the machine's load meets all of them
// alike.

#include "store/Kavro_PISSRenderQueue.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int kItems = 10000;
constexpr int kPairs = 20;
constexpr int kModules = 3;
constexpr int kModulePairs = 4;
constexpr int kRuns = 5;

// A root folder of its own, removed at the end.
class TemporaryRoot {
public:
    TemporaryRoot()
        : m_path((std::filesystem::temp_directory_path() / "corvid-bench-XXXXXX").string()) {
        if (::mkdtemp(m_path.data()) == nullptr) {
            throw std::runtime_error("cannot make a folder below " + m_path);
        }
        ::setenv("CORVIDPRO_ROOT", m_path.c_str(), 1); // NOLINT(concurrency-mt-unsafe)
        std::filesystem::create_directories(m_path + kProductFolder);
    }
    ~TemporaryRoot() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TemporaryRoot(const TemporaryRoot&) = delete;
    TemporaryRoot& operator=(const TemporaryRoot&) = delete;

    std::string queueFile() const { return m_path + kProductFolder + "RenderQueue/RQ.txt"; }

private:
    static constexpr char kProductFolder[] =
        "/Library/Application Support/Fernwick Software/CorvidPro2/";
    std::string m_path;
};

void require(int result, const char* what) {
    if (result == 0) {
        throw std::runtime_error(what);
    }
}

std::unique_ptr<KavroPISSRenderQueueItem> makeItem(int number) {
    auto item = std::make_unique<KavroPISSRenderQueueItem>();
    for (int pair = 0; pair < kPairs; ++pair) {
        const std::string key = "setting_" + std::to_string(pair);
        if (pair % 4 == 3) {
            require(item->Add("render", key.c_str(), number * pair), "Add");
        } else {
            require(item->Add("render", key.c_str(), "/Volumes/Projects/Shot 042/output"), "Add");
        }
    }
    for (int module = 0; module < kModules; ++module) {
        auto made = std::make_unique<KavroPISSRenderQueueItemOutputModule>();
        for (int pair = 0; pair < kModulePairs; ++pair) {
            const std::string key = "module_" + std::to_string(pair);
            require(made->Add("output", key.c_str(), "Lossless with Alpha, 1920 x 1080"), "Add");
        }
        require(item->AddNewOutputModule(made.release()), "AddNewOutputModule");
    }
    return item;
}

double secondsOf(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void catToNull(const std::string& path) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(::open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
        ::execlp("cat", "cat", path.c_str(), nullptr);
        ::_exit(127);
    }
    int status = 0;
    require(child > 0 && ::waitpid(child, &status, 0) == child && status == 0 ? 1 : 0, "cat");
}

double median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + kRuns / 2, values.end());
    return values[kRuns / 2];
}

void printRow(const char* name, double bytes, const std::vector<double>& seconds) {
    const double middle = median(seconds);
    std::printf("%-22s %10.1f ms %10.0f MB/s\n", name, middle * 1e3, bytes / middle / 1e6);
}

void run() {
    const TemporaryRoot root;
    {
        KavroPISSRenderQueue queue;
        for (int number = 1; number <= kItems; ++number) {
            require(queue.AddNewRenderQueueItem(makeItem(number).release()),
                    "AddNewRenderQueueItem");
        }
        require(queue.Commit(), "Commit");
    }
    const auto bytes = static_cast<double>(std::filesystem::file_size(root.queueFile()));
    std::vector<double> load;
    std::vector<double> commit;
    std::vector<double> walk;
    std::vector<double> cat;
    for (int repeat = 0; repeat < kRuns; ++repeat) {
        KavroPISSRenderQueue queue;
        load.push_back(secondsOf([&] { require(queue.StartTransaction(), "StartTransaction"); }));
        walk.push_back(secondsOf([&] {
            for (int index = 1; index <= kItems; ++index) {
                require(queue.GetSpecificRenderQueueItemInList(index) != nullptr ? 1 : 0, "lookup");
            }
        }));
        commit.push_back(secondsOf([&] { require(queue.Commit(), "Commit"); }));
        cat.push_back(secondsOf([&] { catToNull(root.queueFile()); }));
    }
    std::printf("render queue: %d items, %d pairs, %d modules each; %.1f MB; medians of %d\n",
                kItems, kPairs, kModules, bytes / 1e6, kRuns);
    printRow("load", bytes, load);
    printRow("commit", bytes, commit);
    printRow("cat file >/dev/null", bytes, cat);
    std::printf("%-22s %10.1f ms\n", "look up every index", median(walk) * 1e3);
}

} // namespace

int main() {
    try {
        run();
    } catch (const std::exception& failure) {
        static_cast<void>(std::fprintf(stderr, "render_queue_bench: %s failed\n", failure.what()));
        return 1;
    }
    return 0;
}
