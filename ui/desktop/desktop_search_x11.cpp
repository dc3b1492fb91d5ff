#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVirtualObject>
#include <QStringList>
#include <QVariantMap>

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "platform/translation.h"
#include "ui/desktop/desktop_search.h"
#include "ui/desktop/search_hit.h"

namespace talvane {

QDBusArgument& operator<<(QDBusArgument& argument, const SearchHit& hit) {
  argument.beginStructure();
  argument << hit.id << hit.text << hit.icon << hit.kind << hit.relevance << hit.properties;
  argument.endStructure();
  return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, SearchHit& hit) {
  argument.beginStructure();
  argument >> hit.id >> hit.text >> hit.icon >> hit.kind >> hit.relevance >> hit.properties;
  argument.endStructure();
  return argument;
}

QDBusArgument& operator<<(QDBusArgument& argument, const SearchAction& action) {
  argument.beginStructure();
  argument << action.id << action.text << action.icon;
  argument.endStructure();
  return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, SearchAction& action) {
  argument.beginStructure();
  argument >> action.id >> action.text >> action.icon;
  argument.endStructure();
  return argument;
}

namespace {

using Names = SearchSource::Names;

// The files that tell the desktops name these too (resources/desktop).
constexpr const char* bus_name = "example.talvane.softtoken";
constexpr const char* object_path = "/example/talvane/softtoken/search";

constexpr const char* gnome = "org.gnome.Shell.SearchProvider2";
constexpr const char* krunner = "org.kde.krunner1";

constexpr const char* icon_name = "softtoken";
constexpr const char* what_it_does = marked("Copy the passcode");

// Plasma::QueryMatch::PossibleMatch, and a relevance above that of files.
constexpr int possible_match = 30;
constexpr double best_relevance = 0.8;

constexpr const char* interfaces = R"xml(<interface name="org.gnome.Shell.SearchProvider2">
  <method name="GetInitialResultSet">
   <arg type="as" name="terms" direction="in"/><arg type="as" name="results" direction="out"/>
  </method>
  <method name="GetSubsearchResultSet">
   <arg type="as" name="previous_results" direction="in"/><arg type="as" name="terms" direction="in"/>
   <arg type="as" name="results" direction="out"/>
  </method>
  <method name="GetResultMetas">
   <arg type="as" name="identifiers" direction="in"/><arg type="aa{sv}" name="metas" direction="out"/>
  </method>
  <method name="ActivateResult">
   <arg type="s" name="identifier" direction="in"/><arg type="as" name="terms" direction="in"/>
   <arg type="u" name="timestamp" direction="in"/>
  </method>
  <method name="LaunchSearch">
   <arg type="as" name="terms" direction="in"/><arg type="u" name="timestamp" direction="in"/>
  </method>
 </interface>
 <interface name="org.kde.krunner1">
  <method name="Actions"><arg type="a(sss)" name="actions" direction="out"/></method>
  <method name="Match">
   <arg type="s" name="query" direction="in"/><arg type="a(sssida{sv})" name="matches" direction="out"/>
  </method>
  <method name="Run">
   <arg type="s" name="matchId" direction="in"/><arg type="s" name="actionId" direction="in"/>
  </method>
 </interface>
)xml";

QStringList listOf(const Names& names) {
  QStringList list;
  for (const std::string& name : names) list.append(QString::fromStdString(name));
  return list;
}

// What GNOME shows of the tokens.
QList<QVariantMap> metasOf(const QStringList& names) {
  QList<QVariantMap> metas;
  for (const QString& name : names) {
    metas.append(
        {{QStringLiteral("id"), name},
         {QStringLiteral("name"), name},
         {QStringLiteral("gicon"), QLatin1String(icon_name)},
         {QStringLiteral("description"), QString::fromStdString(translated(what_it_does))}});
  }
  return metas;
}

// What KRunner shows.
QList<SearchHit> hitsOf(const Names& names) {
  QList<SearchHit> hits;
  double relevance = best_relevance;
  for (const std::string& name : names) {
    const QString text = QString::fromStdString(name);
    hits.append({text,
                 text,
                 QLatin1String(icon_name),
                 possible_match,
                 relevance,
                 {{QStringLiteral("subtext"), QString::fromStdString(translated(what_it_does))}}});
    relevance *= 0.99;  // the order stays
  }
  return hits;
}

class BusSearch final : public QDBusVirtualObject, public DesktopSearch {
 public:
  explicit BusSearch(SearchSource source) : source_(std::move(source)) {
    qDBusRegisterMetaType<QList<QVariantMap>>();
    qDBusRegisterMetaType<SearchHit>();
    qDBusRegisterMetaType<QList<SearchHit>>();
    qDBusRegisterMetaType<SearchAction>();
    qDBusRegisterMetaType<QList<SearchAction>>();
  }

  ~BusSearch() override {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (has_name_) bus.unregisterService(QLatin1String(bus_name));
    bus.unregisterObject(QLatin1String(object_path));
  }

  bool serve() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) return false;
    // The object first: whoever sees the name may call at once.
    has_name_ = bus.registerVirtualObject(QLatin1String(object_path), this) &&
                bus.registerService(QLatin1String(bus_name));
    return has_name_;
  }

  QString introspect(const QString& /*path*/) const override { return QLatin1String(interfaces); }

  bool handleMessage(const QDBusMessage& message, const QDBusConnection& bus) override {
    if (message.type() != QDBusMessage::MethodCallMessage) return false;
    // "interface" is optional in a call; a desktop always gives it.
    const QString call = message.interface() + QLatin1Char('.') + message.member() +
                         QLatin1Char('(') + message.signature() + QLatin1Char(')');
    const QList<QVariant> arguments = message.arguments();
    if (call == of(gnome, "GetInitialResultSet(as)")) {
      answerGnome(message, bus, arguments[0].toStringList());
    } else if (call == of(gnome, "GetSubsearchResultSet(asas)")) {
      answerGnome(message, bus, arguments[1].toStringList());
    } else if (call == of(gnome, "GetResultMetas(as)")) {
      bus.send(message.createReply(QVariant::fromValue(metasOf(arguments[0].toStringList()))));
    } else if (call == of(gnome, "ActivateResult(sasu)")) {
      bus.send(message.createReply());
      source_.choose(arguments[0].toString().toStdString());
    } else if (call == of(gnome, "LaunchSearch(asu)")) {
      bus.send(message.createReply());
      source_.open();
    } else if (call == of(krunner, "Actions()")) {
      bus.send(message.createReply(QVariant::fromValue(QList<SearchAction>())));
    } else if (call == of(krunner, "Match(s)")) {
      answerKRunner(message, bus, arguments[0].toString());
    } else if (call == of(krunner, "Run(ss)")) {
      bus.send(message.createReply());
      source_.choose(arguments[0].toString().toStdString());
    } else {
      return false;
    }
    return true;
  }

 private:
  static QString of(const char* interface, const char* method) {
    return QLatin1String(interface) + QLatin1Char('.') + QLatin1String(method);
  }

  void answerGnome(const QDBusMessage& message, const QDBusConnection& bus,
                   const QStringList& terms) {
    source_.find(terms.join(QLatin1Char(' ')).toStdString(), [message, bus](const Names& names) {
      bus.send(message.createReply(listOf(names)));
    });
  }

  void answerKRunner(const QDBusMessage& message, const QDBusConnection& bus,
                     const QString& query) {
    source_.find(query.toStdString(), [message, bus](const Names& names) {
      bus.send(message.createReply(QVariant::fromValue(hitsOf(names))));
    });
  }

  SearchSource source_;
  bool has_name_ = false;
};

}  // namespace

std::unique_ptr<DesktopSearch> serveDesktopSearch(SearchSource source) {
  auto search = std::make_unique<BusSearch>(std::move(source));
  if (!search->serve()) return nullptr;
  return search;
}

}  // namespace talvane
