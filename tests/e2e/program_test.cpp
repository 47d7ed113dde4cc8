#include "tests/e2e/program_test.h"

#include <QElapsedTimer>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace corvid::test {

ProgramTest::ProgramTest(QSize screen)
    : session(screen), m_root(m_folder.filePath(QStringLiteral("root")).toStdString()) {
    const std::string home = m_folder.filePath(QStringLiteral("home")).toStdString();
    std::filesystem::create_directories(home);
    std::filesystem::create_directories(m_root + "/private/tmp");
    QProcessEnvironment& environment = session.environment();
    const std::pair<const char*, std::string> values[] = {{"CORVIDPRO_ROOT", m_root},
                                                          {"HOME", home},
                                                          {"XDG_CONFIG_HOME", home + "/config"},
                                                          {"XDG_CACHE_HOME", home + "/cache"},
                                                          {"XDG_DATA_HOME", home + "/data"},
                                                          {"LC_ALL", "C.UTF-8"},
                                                          {"TZ", "UTC"}};
    for (const auto& [name, value] : values) {
        environment.insert(QString::fromLatin1(name), QString::fromStdString(value));
    }
}

SampleCache ProgramTest::makeCache(SampleOptions options) {
    options.root = m_root;
    return makeSampleCache(options);
}

namespace {

constexpr qint64 kStillness = 200; // milliseconds, in which a spinner turns a few times

}

XWindow ProgramTest::startProgram(const std::vector<std::string>& arguments) {
    session.start(CORVID_PROGRAM, arguments);
    XWindow window = session.waitForWindow("Cache Manager");
    // While the cache is being read, what is pressed is dropped and a spinner turns.
    QImage last;
    QElapsedTimer sinceChange;
    const auto isStill = [&] {
        QImage now = session.settledPicture(window.id);
        if (now != last) {
            sinceChange.start();
        }
        last = std::move(now);
        return sinceChange.hasExpired(kStillness);
    };
    if (!waitFor(isStill)) {
        throw std::runtime_error("the cache is still being read");
    }
    return window;
}

std::string ProgramTest::readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void ProgramTest::startFileManager() {
    session.offerFileManager(m_root + "/shown.txt");
}

std::vector<std::string> ProgramTest::shownInFileManager() const {
    std::vector<std::string> uris;
    std::ifstream file(m_root + "/shown.txt");
    for (std::string line; std::getline(file, line);) {
        uris.push_back(line);
    }
    return uris;
}

} // namespace corvid::test
