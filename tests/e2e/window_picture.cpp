// window_picture FILE [--press KEY]... PROGRAM [ARGUMENT...]: starts the program in a virtual X
// server, saves a picture of its filled window, after these keys, and closes the window as a user
// would. Ends with the program's exit status.

#include "tests/e2e/x_session.h"

#include <QCoreApplication>

#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

struct Order {
    std::string file;
    std::vector<std::string> keys;
    std::string program;
    std::vector<std::string> arguments;
};

// Whether the words make an order.
bool parse(const std::vector<std::string>& words, Order& order) {
    std::size_t next = 1;
    for (; next + 1 < words.size() && words[next] == "--press"; next += 2) {
        order.keys.push_back(words[next + 1]);
    }
    if (next >= words.size()) {
        return false;
    }
    order.file = words[0];
    order.program = words[next];
    order.arguments.assign(words.begin() + static_cast<std::ptrdiff_t>(next) + 1, words.end());
    return true;
}

int takePicture(const Order& order) {
    corvid::test::XSession session;
    session.start(order.program, order.arguments);
    const corvid::test::XWindow window = session.waitForWindow("Cache Manager");
    session.waitUntilIdle(window.id);
    for (const std::string& key : order.keys) {
        session.pressKey(window.id, key);
    }
    const QImage picture = session.settledPicture(window.id);
    if (!picture.save(QString::fromStdString(order.file), "PNG")) {
        throw std::runtime_error("cannot write " + order.file);
    }
    session.close(window.id);
    return session.waitForExit();
}

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    Order order;
    if (!parse({argv + 1, argv + argc}, order)) {
        std::cerr << "usage: window_picture FILE [--press KEY]... PROGRAM [ARGUMENT...]\n";
        return 1;
    }
    try {
        const int status = takePicture(order);
        if (status != 0) {
            std::cerr << "window_picture: the program ended with status " << status << "\n";
        }
        return status;
    } catch (const std::exception& error) {
        std::cerr << "window_picture: " << error.what() << "\n";
        return 1;
    }
}
