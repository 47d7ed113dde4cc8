#include "tests/e2e/x_display.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <set>
#include <stdexcept>

#include <X11/XKBlib.h>
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

namespace corvid::test {

namespace {

// A window may vanish between being listed and being asked about. The library's own handler would
// end the process for that.
int ignoreError(Display* /*display*/, XErrorEvent* /*event*/) {
    return 0;
}

template <class Value>
struct XFreeing {
    void operator()(Value* value) const { XFree(value); }
};

// Toolkits differ in the mask that they send their answer to a ping with.
constexpr long kRootEvents = StructureNotifyMask | SubstructureNotifyMask;

// "Return" and "F5" are the server's own names; these are what people call the others.
KeySym symbolOf(const std::string& name) {
    static const std::map<std::string, KeySym> names = {
        {"Ctrl", XK_Control_L}, {"Shift", XK_Shift_L},       {"Alt", XK_Alt_L},
        {"Esc", XK_Escape},     {"Enter", XK_Return},        {"PageUp", XK_Prior},
        {"PageDown", XK_Next},  {"Backspace", XK_BackSpace}, {"Menu", XK_Menu},
        {"Space", XK_space},    {"Del", XK_Delete}};
    const auto known = names.find(name);
    if (known != names.end()) {
        return known->second;
    }
    if (name.size() == 1) {
        return static_cast<KeySym>(std::tolower(static_cast<unsigned char>(name.front())));
    }
    const KeySym symbol = XStringToKeysym(name.c_str());
    if (symbol == NoSymbol) {
        throw std::runtime_error("no key is called '" + name + "'");
    }
    return symbol;
}

std::vector<std::string> splitAtPlus(const std::string& name) {
    std::vector<std::string> parts;
    std::size_t begin = 0;
    for (std::size_t plus = name.find('+'); plus != std::string::npos && plus + 1 < name.size();
         plus = name.find('+', begin)) {
        parts.push_back(name.substr(begin, plus - begin));
        begin = plus + 1;
    }
    parts.push_back(name.substr(begin));
    return parts;
}

} // namespace

struct XDisplay::Connection {
    Display* display = nullptr;
    std::set<unsigned long> answers;

    Window root() const { return DefaultRootWindow(display); }
    Atom atom(const char* name) const { return XInternAtom(display, name, 0); }

    std::string title(Window window) const {
        Atom type = 0;
        int format = 0;
        unsigned long length = 0;
        unsigned long rest = 0;
        unsigned char* text = nullptr;
        const int status =
            XGetWindowProperty(display, window, atom("_NET_WM_NAME"), 0, 4096, 0,
                               atom("UTF8_STRING"), &type, &format, &length, &rest, &text);
        const std::unique_ptr<unsigned char, XFreeing<unsigned char>> owned(text);
        if (status != Success || text == nullptr || format != 8) {
            return {};
        }
        return {text, text + length};
    }

    void sendProtocol(Window receiver, const char* protocol, unsigned long detail) const {
        XEvent event{};
        event.xclient.type = ClientMessage;
        event.xclient.window = receiver;
        event.xclient.message_type = atom("WM_PROTOCOLS");
        event.xclient.format = 32;
        event.xclient.data.l[0] = static_cast<long>(atom(protocol));
        event.xclient.data.l[1] = static_cast<long>(detail);
        event.xclient.data.l[2] = static_cast<long>(receiver);
        XSendEvent(display, receiver, 0, NoEventMask, &event);
        XFlush(display);
    }

    void collect(Window window, std::vector<XWindow>& found) const {
        XWindowAttributes attributes{};
        if (XGetWindowAttributes(display, window, &attributes) == 0 ||
            attributes.map_state != IsViewable || attributes.c_class != InputOutput) {
            return;
        }
        int x = 0;
        int y = 0;
        Window child = 0;
        XTranslateCoordinates(display, window, root(), 0, 0, &x, &y, &child);
        found.push_back({window, title(window), QRect(x, y, attributes.width, attributes.height),
                         attributes.override_redirect != 0});
    }

    std::vector<Window> children(Window window) const {
        Window rootWindow = 0;
        Window parent = 0;
        Window* list = nullptr;
        unsigned int count = 0;
        if (XQueryTree(display, window, &rootWindow, &parent, &list, &count) == 0 ||
            list == nullptr) {
            return {};
        }
        const std::unique_ptr<Window, XFreeing<Window>> owned(list);
        return {list, list + count};
    }
};

XDisplay::XDisplay(const std::string& displayName) : m_connection(std::make_unique<Connection>()) {
    XSetErrorHandler(ignoreError);
    m_connection->display = XOpenDisplay(displayName.c_str());
    int event = 0;
    int error = 0;
    int major = 0;
    int minor = 0;
    if (m_connection->display == nullptr ||
        XTestQueryExtension(m_connection->display, &event, &error, &major, &minor) == 0) {
        throw std::runtime_error("no usable X server at " + displayName);
    }
    XSelectInput(m_connection->display, m_connection->root(), kRootEvents);
}

XDisplay::~XDisplay() {
    XCloseDisplay(m_connection->display);
}

std::vector<XWindow> XDisplay::windows() {
    std::vector<XWindow> found;
    for (const Window window : m_connection->children(m_connection->root())) {
        m_connection->collect(window, found);
    }
    return found;
}

QImage XDisplay::picture(WindowId window) {
    XWindowAttributes attributes{};
    if (XGetWindowAttributes(m_connection->display, window, &attributes) == 0) {
        return {};
    }
    XImage* image =
        XGetImage(m_connection->display, window, 0, 0, static_cast<unsigned int>(attributes.width),
                  static_cast<unsigned int>(attributes.height), AllPlanes, ZPixmap);
    if (image == nullptr) {
        return {};
    }
    QImage result(image->width, image->height, QImage::Format_RGB32);
    for (int y = 0; y < image->height; ++y) {
        for (int x = 0; x < image->width; ++x) {
            result.setPixel(x, y, static_cast<QRgb>(XGetPixel(image, x, y)) | 0xff000000U);
        }
    }
    XDestroyImage(image);
    return result;
}

void XDisplay::moveMouse(QPoint place) {
    XTestFakeMotionEvent(m_connection->display, -1, place.x(), place.y(), CurrentTime);
    XSync(m_connection->display, 0);
}

void XDisplay::clickWith(MouseButton button, const std::string& modifier) {
    if (!modifier.empty()) {
        setKey(symbolOf(modifier), true);
    }
    const auto number = static_cast<unsigned int>(button);
    XTestFakeButtonEvent(m_connection->display, number, 1, CurrentTime);
    XTestFakeButtonEvent(m_connection->display, number, 0, CurrentTime);
    XSync(m_connection->display, 0);
    if (!modifier.empty()) {
        setKey(symbolOf(modifier), false);
    }
}

void XDisplay::drag(QPoint from, QPoint to) {
    constexpr int kSteps = 10;
    const auto button = static_cast<unsigned int>(MouseButton::Left);
    moveMouse(from);
    XTestFakeButtonEvent(m_connection->display, button, 1, CurrentTime);
    for (int step = 1; step <= kSteps; ++step) {
        moveMouse(from + (to - from) * step / kSteps);
    }
    XTestFakeButtonEvent(m_connection->display, button, 0, CurrentTime);
    XSync(m_connection->display, 0);
}

void XDisplay::setKey(unsigned long symbol, bool down) {
    const KeyCode code = XKeysymToKeycode(m_connection->display, symbol);
    if (code == 0) {
        throw std::runtime_error("the keyboard has no key for symbol " + std::to_string(symbol));
    }
    XTestFakeKeyEvent(m_connection->display, code, down ? 1 : 0, CurrentTime);
    XSync(m_connection->display, 0);
}

void XDisplay::pressKey(const std::string& name) {
    std::vector<KeySym> symbols;
    for (const std::string& part : splitAtPlus(name)) {
        symbols.push_back(symbolOf(part));
    }
    for (const KeySym symbol : symbols) {
        setKey(symbol, true);
    }
    std::for_each(symbols.rbegin(), symbols.rend(),
                  [this](KeySym symbol) { setKey(symbol, false); });
}

void XDisplay::type(const std::string& text) {
    for (const char character : text) {
        const auto symbol = static_cast<KeySym>(static_cast<unsigned char>(character));
        const KeyCode code = XKeysymToKeycode(m_connection->display, symbol);
        const bool shifted = XkbKeycodeToKeysym(m_connection->display, code, 0, 0) != symbol;
        if (shifted) {
            setKey(XK_Shift_L, true);
        }
        setKey(symbol, true);
        setKey(symbol, false);
        if (shifted) {
            setKey(XK_Shift_L, false);
        }
    }
}

void XDisplay::focus(WindowId window) {
    XRaiseWindow(m_connection->display, window);
    XSetInputFocus(m_connection->display, window, RevertToPointerRoot, CurrentTime);
    XSync(m_connection->display, 0);
}

void XDisplay::resize(WindowId window, QSize size) {
    XResizeWindow(m_connection->display, window, static_cast<unsigned int>(size.width()),
                  static_cast<unsigned int>(size.height()));
    XSync(m_connection->display, 0);
}

void XDisplay::close(WindowId window) {
    m_connection->sendProtocol(window, "WM_DELETE_WINDOW", CurrentTime);
}

void XDisplay::sendPing(WindowId window, unsigned long serial) {
    m_connection->sendProtocol(window, "_NET_WM_PING", serial);
}

bool XDisplay::hasAnswered(unsigned long serial) {
    while (XPending(m_connection->display) > 0) {
        XEvent event;
        XNextEvent(m_connection->display, &event);
        if (event.type == ClientMessage &&
            static_cast<Atom>(event.xclient.data.l[0]) == m_connection->atom("_NET_WM_PING")) {
            m_connection->answers.insert(static_cast<unsigned long>(event.xclient.data.l[1]));
        }
    }
    return m_connection->answers.count(serial) != 0;
}

} // namespace corvid::test
