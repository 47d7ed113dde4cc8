#include "tests/e2e/accessible.h"

#include "tests/e2e/x_session.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDBusVariant>
#include <QVariant>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace corvid::test {

namespace {

// Numbers of the states in the published protocol.
constexpr unsigned kChecked = 4;
constexpr unsigned kEnabled = 8;
constexpr unsigned kExpandable = 9;
constexpr unsigned kExpanded = 10;
constexpr unsigned kSelected = 23;
constexpr unsigned kShowing = 25;

constexpr QLatin1String kAccessible("org.a11y.atspi.Accessible");
constexpr QLatin1String kAction("org.a11y.atspi.Action");
constexpr QLatin1String kTable("org.a11y.atspi.Table");
constexpr QLatin1String kComponent("org.a11y.atspi.Component");
constexpr QLatin1String kRootPath("/org/a11y/atspi/accessible/root");
constexpr int kCallPatience = 10000;

// One connection for the life of a bus.
class BusConnection {
public:
    explicit BusConnection(const QString& address)
        : m_name(QStringLiteral("accessible ") + address),
          m_bus(QDBusConnection::connectToBus(address, m_name)) {}
    ~BusConnection() { QDBusConnection::disconnectFromBus(m_name); }
    BusConnection(const BusConnection&) = delete;
    BusConnection& operator=(const BusConnection&) = delete;

    QDBusConnection& bus() { return m_bus; }

    // The first argument of the answer; invalid when the call fails, as it does for an element that
    // is gone.
    QVariant call(const QString& service, const QString& path, const QString& interface,
                  const QString& method, const QVariantList& arguments = {}) {
        QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
        message.setArguments(arguments);
        const QDBusMessage reply = m_bus.call(message, QDBus::Block, kCallPatience);
        if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
            return {};
        }
        return reply.arguments().constFirst();
    }

private:
    QString m_name;
    QDBusConnection m_bus;
};

struct Reference {
    QString service;
    QString path;
};

std::vector<Reference> childrenOf(BusConnection& connection, const Reference& element) {
    std::vector<Reference> children;
    const QVariant answer =
        connection.call(element.service, element.path, kAccessible, QStringLiteral("GetChildren"));
    if (!answer.canConvert<QDBusArgument>()) {
        return children;
    }
    const auto list = answer.value<QDBusArgument>();
    list.beginArray();
    while (!list.atEnd()) {
        Reference child;
        QDBusObjectPath path;
        list.beginStructure();
        list >> child.service >> path;
        list.endStructure();
        child.path = path.path();
        children.push_back(std::move(child));
    }
    list.endArray();
    return children;
}

QRect placeOf(BusConnection& connection, const Reference& element) {
    const QVariant answer = connection.call(element.service, element.path, kComponent,
                                            QStringLiteral("GetExtents"), {0U});
    if (!answer.canConvert<QDBusArgument>()) {
        return {};
    }
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    const auto extents = answer.value<QDBusArgument>();
    extents.beginStructure();
    extents >> x >> y >> width >> height;
    extents.endStructure();
    return {x, y, width, height};
}

std::uint64_t statesOf(BusConnection& connection, const Reference& element) {
    const QVariant answer =
        connection.call(element.service, element.path, kAccessible, QStringLiteral("GetState"));
    if (!answer.canConvert<QDBusArgument>()) {
        return 0;
    }
    QList<uint> words;
    answer.value<QDBusArgument>() >> words;
    std::uint64_t states = 0;
    for (qsizetype i = 0; i < words.size() && i < 2; ++i) {
        states |= static_cast<std::uint64_t>(words[i]) << (32 * i);
    }
    return states;
}

Accessible read(BusConnection& connection, const Reference& element) {
    Accessible result;
    result.service = element.service.toStdString();
    result.path = element.path.toStdString();
    const QVariant name = connection.call(
        element.service, element.path, QStringLiteral("org.freedesktop.DBus.Properties"),
        QStringLiteral("Get"), {kAccessible, QStringLiteral("Name")});
    result.name = name.value<QDBusVariant>().variant().toString().toStdString();
    result.role =
        connection.call(element.service, element.path, kAccessible, QStringLiteral("GetRoleName"))
            .toString()
            .toStdString();
    result.place = placeOf(connection, element);
    const std::uint64_t states = statesOf(connection, element);
    const auto has = [states](unsigned state) { return ((states >> state) & 1) != 0; };
    result.isShowing = has(kShowing);
    result.isSelected = has(kSelected);
    result.isChecked = has(kChecked);
    result.isExpandable = has(kExpandable);
    result.isExpanded = has(kExpanded);
    result.isEnabled = has(kEnabled);
    for (const Reference& child : childrenOf(connection, element)) {
        result.children.push_back(read(connection, child));
    }
    return result;
}

void collect(const Accessible& node, const std::function<bool(const Accessible&)>& accepts,
             std::vector<const Accessible*>& found) {
    if (node.isShowing && accepts(node)) {
        found.push_back(&node);
    }
    for (const Accessible& child : node.children) {
        collect(child, accepts, found);
    }
}

void append(const Accessible& node, int depth, std::string& text) {
    text +=
        std::string(static_cast<std::size_t>(depth) * 2, ' ') + node.role + " '" + node.name + "'";
    text += " at " + std::to_string(node.place.x()) + "," + std::to_string(node.place.y()) + " " +
            std::to_string(node.place.width()) + "x" + std::to_string(node.place.height());
    const std::pair<bool, const char*> states[] = {{node.isShowing, " showing"},
                                                   {node.isSelected, " selected"},
                                                   {node.isChecked, " checked"},
                                                   {node.isExpanded, " expanded"},
                                                   {!node.isEnabled, " disabled"}};
    for (const auto& [holds, word] : states) {
        text += holds ? word : "";
    }
    text += "\n";
    for (const Accessible& child : node.children) {
        append(child, depth + 1, text);
    }
}

} // namespace

std::vector<const Accessible*> Accessible::all(const std::string& wantedName,
                                               const std::string& wantedRole) const {
    std::vector<const Accessible*> found;
    const auto accepts = [&](const Accessible& node) {
        return node.name == wantedName && (wantedRole.empty() || node.role == wantedRole);
    };
    collect(*this, accepts, found);
    return found;
}

std::vector<const Accessible*> Accessible::allWithRole(const std::string& wantedRole) const {
    std::vector<const Accessible*> found;
    collect(
        *this, [&](const Accessible& node) { return node.role == wantedRole; }, found);
    return found;
}

Accessible readAccessibleTree(XSession& session) {
    BusConnection connection(session.busAddress());
    const QDBusReply<QStringList> names = connection.bus().interface()->registeredServiceNames();
    for (const QString& service : names.value()) {
        const QDBusReply<uint> process = connection.bus().interface()->servicePid(service);
        if (!service.startsWith(QLatin1Char(':')) || !process.isValid() ||
            static_cast<qint64>(process.value()) != session.programId()) {
            continue;
        }
        // The program has a connection of its own for the accessibility layer.
        Accessible tree = read(connection, {service, kRootPath});
        if (!tree.role.empty()) {
            return tree;
        }
    }
    return {};
}

Accessible waitForAccessible(XSession& session, const std::string& name, const std::string& role) {
    Accessible found;
    Accessible tree;
    const bool came = waitFor([&] {
        tree = readAccessibleTree(session);
        const std::vector<const Accessible*> matches = tree.all(name, role);
        if (matches.size() != 1) {
            return false;
        }
        found = *matches.front();
        return true;
    });
    if (!came) {
        throw std::runtime_error("there is not exactly one showing " + role + " '" + name + "':\n" +
                                 toText(tree) + session.output());
    }
    return found;
}

void clickOn(XSession& session, const std::string& name, const std::string& role) {
    const Accessible target = waitForAccessible(session, name, role);
    session.clickOnScreen(target.place.center());
}

namespace {

// A call to the program's side of an element.
QVariant ask(XSession& session, const Accessible& element, const QString& interface,
             const QString& method, const QVariantList& arguments = {}) {
    BusConnection connection(session.busAddress());
    return connection.call(QString::fromStdString(element.service),
                           QString::fromStdString(element.path), interface, method, arguments);
}

} // namespace

std::vector<std::string> actionsOf(XSession& session, const Accessible& element) {
    std::vector<std::string> names;
    const QVariant answer = ask(session, element, kAction, QStringLiteral("GetActions"));
    if (!answer.canConvert<QDBusArgument>()) {
        return names;
    }
    const auto list = answer.value<QDBusArgument>();
    list.beginArray();
    while (!list.atEnd()) {
        QString name;
        QString description;
        QString keys;
        list.beginStructure();
        list >> name >> description >> keys;
        list.endStructure();
        names.push_back(name.toStdString());
    }
    list.endArray();
    return names;
}

bool doAction(XSession& session, const Accessible& element, const std::string& action) {
    const std::vector<std::string> names = actionsOf(session, element);
    const auto found = std::find(names.begin(), names.end(), action);
    return found != names.end() && ask(session, element, kAction, QStringLiteral("DoAction"),
                                       {static_cast<int>(found - names.begin())})
                                       .toBool();
}

std::vector<int> selectedRowsOf(XSession& session, const Accessible& table) {
    const QVariant answer = ask(session, table, kTable, QStringLiteral("GetSelectedRows"));
    QList<int> rows;
    if (answer.canConvert<QDBusArgument>()) {
        answer.value<QDBusArgument>() >> rows;
    }
    return {rows.begin(), rows.end()};
}

bool selectRowOf(XSession& session, const Accessible& table, int row) {
    return ask(session, table, kTable, QStringLiteral("AddRowSelection"), {row}).toBool();
}

std::string toText(const Accessible& tree) {
    std::string text;
    append(tree, 0, text);
    return text;
}

} // namespace corvid::test
