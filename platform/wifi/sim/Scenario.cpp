#include "platform/wifi/sim/Scenario.h"

#include "platform/foundation/JsonReader.h"
#include "platform/wifi/WiFiRecords.h"

#include <QDateTime>
#include <QFile>
#include <QRegularExpression>
#include <QStringList>

#include <cmath>
#include <functional>
#include <limits>
#include <mutex>
#include <set>

// The built-in scenario is compiled into this library as a Qt resource; registering it by hand
// makes it available whether the library is linked shared or static.
static void registerSimResources() {
    Q_INIT_RESOURCE(sim);
}

namespace platform::sim {

namespace {

QString composeMessage(const QString& file, const QString& place, const QString& why) {
    QString message = file;
    if (!place.isEmpty()) {
        message += QStringLiteral(": ") + place;
    }
    return message + QStringLiteral(": ") + why;
}

}  // namespace

ScenarioError::ScenarioError(QString file, QString place, QString why)
    : std::runtime_error(composeMessage(file, place, why).toStdString()),
      file_(std::move(file)),
      place_(std::move(place)),
      why_(std::move(why)) {}

TestAnswer neutralTestAnswer() {
    auto result = std::make_shared<DiagnosticsTestResult>();
    result->result = false;
    result->didPass = true;
    TestAnswer answer;
    answer.results = std::vector<DiagnosticsTestResultRef>{result};
    return answer;
}

namespace {

constexpr std::int64_t kMaxLatencyMs = 600000;
constexpr std::int64_t kMaxEventTimeMs = 86400000;
constexpr std::int64_t kMaxDevices = 64;
constexpr qint64 kMaxFileSize = 16 * 1024 * 1024;
const QString kDefaultErrorDomain = QStringLiteral("WiFiDiagnostics");

QString quoted(const QString& s) {
    return QLatin1Char('"') + s + QLatin1Char('"');
}

// "a string", "an integer", ... for "expected X, got Y" messages.
QString kindPhrase(const Value& v) {
    switch (v.kind()) {
        case Value::Kind::Null:
            return QStringLiteral("null");
        case Value::Kind::Bool:
            return QStringLiteral("a boolean");
        case Value::Kind::Int:
            return QStringLiteral("an integer");
        case Value::Kind::UInt:
            return QStringLiteral("an unsigned integer");
        case Value::Kind::Double:
            return QStringLiteral("a fraction");
        case Value::Kind::String:
            return QStringLiteral("a string");
        case Value::Kind::Date:
            return QStringLiteral("a date");
        case Value::Kind::Array:
            return QStringLiteral("an array");
        case Value::Kind::Dictionary:
            return QStringLiteral("an object");
        case Value::Kind::Record:
            return QStringLiteral("a record");
    }
    return QStringLiteral("a value");
}

QString joined(const QStringList& names) {
    return names.join(QStringLiteral(", "));
}

// Reads the JSON tree of a scenario into its typed form; every complaint names the file and the
// JSON path of the offending value.
class ScenarioReader {
  public:
    explicit ScenarioReader(QString file) : file_(std::move(file)) {}

    [[noreturn]] void fail(const QString& place, const QString& why) const {
        throw ScenarioError(file_, place, why);
    }

    static QString key(const QString& path, const QString& k) { return jsonPathWithKey(path, k); }
    static QString index(const QString& path, qsizetype i) { return jsonPathWithIndex(path, i); }

    // ----- plain JSON types -------------------------------------------------------------------

    [[noreturn]] void wrongType(const QString& path, const QString& expected, const Value& got) const {
        fail(path, QStringLiteral("expected %1, got %2").arg(expected, kindPhrase(got)));
    }

    bool readBool(const Value& v, const QString& path) const {
        if (!v.isBool()) {
            wrongType(path, QStringLiteral("a boolean"), v);
        }
        return v.toBool();
    }

    std::int64_t readInt(const Value& v, const QString& path) const {
        if (v.kind() == Value::Kind::UInt) {
            fail(path, QStringLiteral("integer %1 is too large (at most %2)")
                           .arg(v.toUInt())
                           .arg(std::numeric_limits<std::int64_t>::max()));
        }
        if (v.kind() != Value::Kind::Int) {
            wrongType(path, QStringLiteral("an integer"), v);
        }
        return v.toInt();
    }

    std::int64_t readIntInRange(const Value& v, const QString& path, std::int64_t low,
                                std::int64_t high) const {
        const std::int64_t i = readInt(v, path);
        if (i < low || i > high) {
            fail(path, QStringLiteral("expected an integer from %1 to %2, got %3").arg(low).arg(high).arg(i));
        }
        return i;
    }

    QString readString(const Value& v, const QString& path) const {
        if (!v.isString()) {
            wrongType(path, QStringLiteral("a string"), v);
        }
        return v.toString();
    }

    QString readNonEmptyString(const Value& v, const QString& path) const {
        const QString s = readString(v, path);
        if (s.isEmpty()) {
            fail(path, QStringLiteral("expected a non-empty string"));
        }
        return s;
    }

    DictionaryRef readObject(const Value& v, const QString& path) const {
        if (v.kind() != Value::Kind::Dictionary) {
            wrongType(path, QStringLiteral("an object"), v);
        }
        return v.toDictionary();
    }

    // Rejects keys outside allowed, so that a misspelt key is reported instead of ignored.
    void checkKeys(const Dictionary& d, const QString& path, const QStringList& allowed,
                   const QString& what) const {
        for (const QString& k : d.keys()) {
            if (!allowed.contains(k)) {
                QStringList sorted = allowed;
                sorted.sort();
                fail(key(path, k), QStringLiteral("unknown key %1 in %2 (known keys: %3)")
                                       .arg(quoted(k), what, joined(sorted)));
            }
        }
    }

    // A value that is one item or a list of items; a list must not be empty.
    template <class T>
    std::vector<T> readOneOrList(const Value& v, const QString& path,
                                 const std::function<T(const Value&, const QString&)>& readItem) const {
        std::vector<T> items;
        if (v.kind() == Value::Kind::Array) {
            const ArrayRef array = v.toArray();
            if (array->empty()) {
                fail(path, QStringLiteral("expected at least one answer, got an empty list"));
            }
            for (std::size_t i = 0; i < array->size(); ++i) {
                items.push_back(readItem((*array)[i], index(path, static_cast<qsizetype>(i))));
            }
        } else {
            items.push_back(readItem(v, path));
        }
        return items;
    }

    std::chrono::milliseconds readLatency(const Value& v, const QString& path) const {
        return std::chrono::milliseconds(readIntInRange(v, path, 0, kMaxLatencyMs));
    }

    // ----- dates and typed values -------------------------------------------------------------

    Date readIsoDate(const Value& v, const QString& path) const {
        const QString text = readString(v, path);
        const QDateTime t = QDateTime::fromString(text, Qt::ISODateWithMs);
        if (!t.isValid()) {
            fail(path, QStringLiteral("expected an ISO 8601 date such as \"2026-11-20T10:00:00Z\", got %1")
                           .arg(quoted(text)));
        }
        if (t.timeSpec() == Qt::LocalTime) {
            fail(path, QStringLiteral("the date %1 needs a time zone: Z or an offset such as +02:00")
                           .arg(quoted(text)));
        }
        return Date::fromSecondsSince1970(static_cast<double>(t.toMSecsSinceEpoch()) / 1000.0);
    }

    // A date written as an ISO 8601 string or as {"$date": "..."}.
    Date readDateField(const Value& v, const QString& path) const {
        if (v.kind() == Value::Kind::Dictionary) {
            const DictionaryRef d = v.toDictionary();
            if (d->size() == 1 && d->contains(QStringLiteral("$date"))) {
                return readIsoDate(*d->value(QStringLiteral("$date")), key(path, QStringLiteral("$date")));
            }
        }
        if (!v.isString()) {
            wrongType(path, QStringLiteral("an ISO 8601 date string or {\"$date\": ...}"), v);
        }
        return readIsoDate(v, path);
    }

    // A number of any kind, or {"$double": ...}; gives a double.
    double readDoubleField(const Value& v, const QString& path) const {
        if (v.kind() == Value::Kind::Dictionary) {
            const DictionaryRef d = v.toDictionary();
            if (d->size() == 1 && d->contains(QStringLiteral("$double"))) {
                return readTaggedDouble(*d->value(QStringLiteral("$double")),
                                        key(path, QStringLiteral("$double")));
            }
        }
        if (!v.isNumber()) {
            wrongType(path, QStringLiteral("a number"), v);
        }
        return v.toDouble();
    }

    double readTaggedDouble(const Value& v, const QString& path) const {
        if (v.isNumber()) {
            return v.toDouble();
        }
        if (v.isString()) {
            const QString s = v.toString();
            if (s == QLatin1String("NaN")) {
                return std::numeric_limits<double>::quiet_NaN();
            }
            if (s == QLatin1String("Infinity")) {
                return std::numeric_limits<double>::infinity();
            }
            if (s == QLatin1String("-Infinity")) {
                return -std::numeric_limits<double>::infinity();
            }
            fail(path, QStringLiteral("expected a number, \"NaN\", \"Infinity\" or \"-Infinity\", got %1")
                           .arg(quoted(s)));
        }
        wrongType(path, QStringLiteral("a number, \"NaN\", \"Infinity\" or \"-Infinity\""), v);
    }

    // Turns plain JSON into the values a service answer holds, with the tagged objects for what
    // JSON cannot say: {"$double": ...}, {"$unsigned": ...}, {"$date": ...}, {"$record": ...}.
    Value typedValue(const Value& v, const QString& path) const {
        switch (v.kind()) {
            case Value::Kind::Array: {
                auto out = std::make_shared<Array>();
                const ArrayRef in = v.toArray();
                for (std::size_t i = 0; i < in->size(); ++i) {
                    out->push_back(typedValue((*in)[i], index(path, static_cast<qsizetype>(i))));
                }
                return Value::array(out);
            }
            case Value::Kind::Dictionary:
                return typedObject(*v.toDictionary(), path);
            default:
                return v;
        }
    }

    Value typedObject(const Dictionary& d, const QString& path) const {
        static const QStringList kTags = {QStringLiteral("$double"), QStringLiteral("$unsigned"),
                                          QStringLiteral("$date"), QStringLiteral("$record")};
        const QStringList keys = d.keys();
        QString tag;
        for (const QString& k : keys) {
            if (!k.startsWith(u'$')) {
                continue;
            }
            if (!kTags.contains(k)) {
                fail(key(path, k),
                     QStringLiteral("unknown tag %1 (known tags: %2)").arg(quoted(k), joined(kTags)));
            }
            if (!tag.isEmpty()) {
                fail(path, QStringLiteral("an object has at most one tag, found %1 and %2")
                               .arg(quoted(tag), quoted(k)));
            }
            tag = k;
        }
        if (tag.isEmpty()) {
            auto out = Dictionary::make();
            for (const auto& [k, value] : d.entries()) {
                out->set(k, typedValue(value, key(path, k)));
            }
            return Value::dictionary(out);
        }
        if (tag == QLatin1String("$record")) {
            return Value::record(readRecord(d, path));
        }
        if (keys.size() != 1) {
            for (const QString& k : keys) {
                if (k != tag) {
                    fail(key(path, k), QStringLiteral("a %1 value takes no other keys, found %2")
                                           .arg(quoted(tag), quoted(k)));
                }
            }
        }
        const Value inner = *d.value(tag);
        const QString innerPath = key(path, tag);
        if (tag == QLatin1String("$double")) {
            return Value::number(readTaggedDouble(inner, innerPath));
        }
        if (tag == QLatin1String("$unsigned")) {
            if (inner.kind() == Value::Kind::UInt) {
                return inner;
            }
            if (inner.kind() == Value::Kind::Int) {
                if (inner.toInt() < 0) {
                    fail(innerPath,
                         QStringLiteral("an unsigned integer cannot be negative, got %1").arg(inner.toInt()));
                }
                return Value::unsignedInteger(static_cast<std::uint64_t>(inner.toInt()));
            }
            wrongType(innerPath, QStringLiteral("a non-negative integer"), inner);
        }
        return Value::date(readIsoDate(inner, innerPath));
    }

    // ----- records ----------------------------------------------------------------------------

    struct Field {
        QString name;
        bool optional;
        std::function<void(const Value&, const QString&)> read;
    };

    void readFields(const Dictionary& d, const QString& path, const QString& type,
                    const std::vector<Field>& fields) const {
        QStringList names;
        for (const Field& f : fields) {
            names.append(f.name);
        }
        names.sort();
        for (const QString& k : d.keys()) {
            if (k != QLatin1String("$record") && !names.contains(k)) {
                fail(key(path, k), QStringLiteral("unknown field %1 of a %2 record (fields: %3)")
                                       .arg(quoted(k), type, joined(names)));
            }
        }
        for (const Field& f : fields) {
            const std::optional<Value> v = d.value(f.name);
            if (!v || (f.optional && v->isNull())) {
                if (!f.optional) {
                    fail(path, QStringLiteral("a %1 record needs the field %2").arg(type, quoted(f.name)));
                }
                continue;
            }
            f.read(*v, key(path, f.name));
        }
    }

    RecordRef readRecord(const Dictionary& d, const QString& path) const {
        const QString typePath = key(path, QStringLiteral("$record"));
        const QString type = readString(*d.value(QStringLiteral("$record")), typePath);
        const auto text = [this](std::optional<QString>& out) {
            return [this, &out](const Value& v, const QString& p) { out = readString(v, p); };
        };
        const auto integer = [this](std::int64_t& out) {
            return [this, &out](const Value& v, const QString& p) { out = readInt(v, p); };
        };
        const auto optionalInteger = [this](std::optional<std::int64_t>& out) {
            return [this, &out](const Value& v, const QString& p) { out = readInt(v, p); };
        };
        const auto number = [this](double& out) {
            return [this, &out](const Value& v, const QString& p) { out = readDoubleField(v, p); };
        };
        const auto flag = [this](bool& out) {
            return [this, &out](const Value& v, const QString& p) { out = readBool(v, p); };
        };
        if (type == QLatin1String("WiFiScanResult")) {
            auto r = std::make_shared<WiFiScanResult>();
            readFields(d, path, type,
                       {{QStringLiteral("ssidString"), true, text(r->ssidString)},
                        {QStringLiteral("bssid"), false,
                         [&](const Value& v, const QString& p) { r->bssid = readString(v, p); }},
                        {QStringLiteral("rssi"), false, integer(r->rssi)},
                        {QStringLiteral("channel"), true, optionalInteger(r->channel)}});
            return r;
        }
        if (type == QLatin1String("WiFiPingResult")) {
            auto r = std::make_shared<WiFiPingResult>();
            readFields(d, path, type,
                       {{QStringLiteral("interfaceName"), true, text(r->interfaceName)},
                        {QStringLiteral("count"), false, integer(r->count)},
                        {QStringLiteral("packetLoss"), false, number(r->packetLoss)},
                        {QStringLiteral("min"), false, number(r->min)},
                        {QStringLiteral("max"), false, number(r->max)},
                        {QStringLiteral("avg"), false, number(r->avg)},
                        {QStringLiteral("stddev"), false, number(r->stddev)},
                        {QStringLiteral("timestamp"), false, [&](const Value& v, const QString& p) {
                             // Seconds since 2001-01-01 00:00:00 UTC, or a date written out.
                             r->timestamp = v.isNumber() ? v.toDouble() : readPingTimestamp(v, p);
                         }}});
            return r;
        }
        if (type == QLatin1String("WiFiChannel")) {
            auto r = std::make_shared<WiFiChannel>();
            readFields(d, path, type,
                       {{QStringLiteral("channel"), false, integer(r->channel)},
                        {QStringLiteral("band"), true, optionalInteger(r->band)},
                        {QStringLiteral("width"), true, optionalInteger(r->width)}});
            return r;
        }
        if (type == QLatin1String("NetworkProfile")) {
            auto r = std::make_shared<NetworkProfile>();
            readFields(d, path, type,
                       {{QStringLiteral("ssidString"), true, text(r->ssidString)},
                        {QStringLiteral("security"), false, integer(r->security)},
                        {QStringLiteral("isPasspoint"), false, flag(r->isPasspoint)},
                        {QStringLiteral("isEnabled"), false, flag(r->isEnabled)},
                        {QStringLiteral("isCaptive"), false, flag(r->isCaptive)},
                        {QStringLiteral("isHidden"), false, flag(r->isHidden)},
                        {QStringLiteral("isMultiAP"), false, flag(r->isMultiAP)},
                        {QStringLiteral("lastJoinedTimestamp"), true, [&](const Value& v, const QString& p) {
                             r->lastJoinedTimestamp = readDateField(v, p);
                         }}});
            return r;
        }
        fail(typePath, QStringLiteral("unknown record type %1 (known types: NetworkProfile, WiFiChannel, "
                                      "WiFiPingResult, WiFiScanResult)")
                           .arg(quoted(type)));
    }

    double readPingTimestamp(const Value& v, const QString& path) const {
        if (v.kind() != Value::Kind::Dictionary && !v.isString()) {
            wrongType(path, QStringLiteral("seconds since 2001-01-01 as a number, or a date"), v);
        }
        return readDateField(v, path).secondsSinceReferenceDate();
    }

    // ----- answers ----------------------------------------------------------------------------

    ErrorRef readError(const Value& v, const QString& path) const {
        const DictionaryRef d = readObject(v, path);
        checkKeys(*d, path, {QStringLiteral("code"), QStringLiteral("domain"), QStringLiteral("text")},
                  QStringLiteral("an error"));
        const auto code = d->value(QStringLiteral("code"));
        if (!code) {
            fail(path, QStringLiteral("an error needs the key \"code\""));
        }
        QString domain = kDefaultErrorDomain, text;
        if (const auto v2 = d->value(QStringLiteral("domain"))) {
            domain = readString(*v2, key(path, QStringLiteral("domain")));
        }
        if (const auto v2 = d->value(QStringLiteral("text"))) {
            text = readString(*v2, key(path, QStringLiteral("text")));
        }
        return makeError(domain, readInt(*code, key(path, QStringLiteral("code"))), text);
    }

    // One result record: {"result": bool, "didPass": bool, "info": {...} or null}. The caller has
    // checked d's keys (an answer in short form also holds the answer's own keys).
    DiagnosticsTestResultRef readResult(const Dictionary& d, const QString& path) const {
        auto r = std::make_shared<DiagnosticsTestResult>();
        for (const char* name : {"result", "didPass"}) {
            const auto v = d.value(QLatin1String(name));
            if (!v) {
                fail(path, QStringLiteral("a test result needs the key \"%1\"").arg(QLatin1String(name)));
            }
            (name[0] == 'r' ? r->result : r->didPass) = readBool(*v, key(path, QLatin1String(name)));
        }
        if (const auto info = d.value(QStringLiteral("info")); info && !info->isNull()) {
            const QString infoPath = key(path, QStringLiteral("info"));
            readObject(*info, infoPath);
            r->info = typedValue(*info, infoPath).toDictionary();
        }
        return r;
    }

    TestAnswer readTestAnswer(const Value& v, const QString& path) const {
        const DictionaryRef d = readObject(v, path);
        checkKeys(*d, path,
                  {QStringLiteral("result"), QStringLiteral("didPass"), QStringLiteral("info"),
                   QStringLiteral("results"), QStringLiteral("error"), QStringLiteral("latencyMs"),
                   QStringLiteral("comment")},
                  QStringLiteral("a test answer"));
        const bool shortForm = d->contains(QStringLiteral("result")) ||
                               d->contains(QStringLiteral("didPass")) || d->contains(QStringLiteral("info"));
        const bool longForm = d->contains(QStringLiteral("results"));
        if (shortForm && longForm) {
            fail(path,
                 QStringLiteral("an answer gives either \"results\" or \"result\", \"didPass\" and \"info\", "
                                "not both"));
        }
        TestAnswer answer;
        if (const auto e = d->value(QStringLiteral("error"))) {
            answer.error = readError(*e, key(path, QStringLiteral("error")));
        }
        if (!shortForm && !longForm && !answer.error) {
            fail(path,
                 QStringLiteral("an answer needs \"result\" and \"didPass\", \"results\" or \"error\""));
        }
        if (shortForm) {
            answer.results = std::vector<DiagnosticsTestResultRef>{readResult(*d, path)};
        } else if (longForm) {
            const QString resultsPath = key(path, QStringLiteral("results"));
            const Value results = *d->value(QStringLiteral("results"));
            if (!results.isNull()) {
                if (results.kind() != Value::Kind::Array) {
                    wrongType(resultsPath, QStringLiteral("an array or null"), results);
                }
                std::vector<DiagnosticsTestResultRef> list;
                const ArrayRef array = results.toArray();
                for (std::size_t i = 0; i < array->size(); ++i) {
                    const QString elementPath = index(resultsPath, static_cast<qsizetype>(i));
                    const Value& element = (*array)[i];
                    if (element.isNull()) {
                        list.push_back(nullptr);
                        continue;
                    }
                    const DictionaryRef rd = readObject(element, elementPath);
                    checkKeys(*rd, elementPath,
                              {QStringLiteral("result"), QStringLiteral("didPass"), QStringLiteral("info")},
                              QStringLiteral("a test result"));
                    list.push_back(readResult(*rd, elementPath));
                }
                answer.results = std::move(list);
            }
        }
        if (const auto l = d->value(QStringLiteral("latencyMs"))) {
            answer.latency = readLatency(*l, key(path, QStringLiteral("latencyMs")));
        }
        if (const auto c = d->value(QStringLiteral("comment"))) {
            readString(*c, key(path, QStringLiteral("comment")));
        }
        return answer;
    }

    StatusAnswer readStatusAnswer(const Value& v, const QString& path) const {
        const DictionaryRef d = readObject(v, path);
        checkKeys(*d, path,
                  {QStringLiteral("ssid"), QStringLiteral("bssid"), QStringLiteral("joined"),
                   QStringLiteral("wifi"), QStringLiteral("error"), QStringLiteral("latencyMs"),
                   QStringLiteral("comment")},
                  QStringLiteral("a status answer"));
        StatusAnswer answer;
        const QStringList forms = [&] {
            QStringList present;
            for (const char* k : {"ssid", "bssid", "joined", "wifi", "error"}) {
                if (d->contains(QLatin1String(k))) {
                    present.append(QLatin1String(k));
                }
            }
            return present;
        }();
        const auto onlyWith = [&](const QString& form, const QStringList& companions) {
            for (const QString& k : forms) {
                if (k != form && !companions.contains(k)) {
                    fail(key(path, k), QStringLiteral("a status answer with %1 cannot also have %2")
                                           .arg(quoted(form), quoted(k)));
                }
            }
        };
        if (d->contains(QStringLiteral("error"))) {
            onlyWith(QStringLiteral("error"), {});
            answer.kind = StatusAnswer::Kind::Error;
            answer.error = readError(*d->value(QStringLiteral("error")), key(path, QStringLiteral("error")));
        } else if (d->contains(QStringLiteral("wifi"))) {
            onlyWith(QStringLiteral("wifi"), {});
            if (!d->value(QStringLiteral("wifi"))->isNull()) {
                fail(key(path, QStringLiteral("wifi")),
                     QStringLiteral("only \"wifi\": null is allowed here (a snapshot without Wi-Fi status)"));
            }
            answer.kind = StatusAnswer::Kind::NoWiFiStatus;
        } else if (d->contains(QStringLiteral("joined")) &&
                   !readBool(*d->value(QStringLiteral("joined")), key(path, QStringLiteral("joined")))) {
            onlyWith(QStringLiteral("joined"), {});
            answer.kind = StatusAnswer::Kind::NotJoined;
        } else if (!forms.isEmpty()) {
            for (const char* k : {"ssid", "bssid"}) {
                const auto value = d->value(QLatin1String(k));
                if (!value) {
                    fail(path, QStringLiteral("a joined status needs \"ssid\" and \"bssid\"; %1 is missing")
                                   .arg(quoted(QLatin1String(k))));
                }
                (k[0] == 's' ? answer.ssid : answer.bssid) = readString(*value, key(path, QLatin1String(k)));
            }
            answer.kind = StatusAnswer::Kind::Joined;
        } else {
            fail(path, QStringLiteral("a status answer needs \"ssid\" and \"bssid\", \"joined\": false, "
                                      "\"wifi\": null or \"error\""));
        }
        if (const auto l = d->value(QStringLiteral("latencyMs"))) {
            answer.latency = readLatency(*l, key(path, QStringLiteral("latencyMs")));
        }
        if (const auto c = d->value(QStringLiteral("comment"))) {
            readString(*c, key(path, QStringLiteral("comment")));
        }
        return answer;
    }

    // ----- device, events, automation ---------------------------------------------------------

    DeviceSpec readDevice(const Value& v, const QString& path) const {
        const DictionaryRef d = readObject(v, path);
        checkKeys(*d, path,
                  {QStringLiteral("wifiRadio"), QStringLiteral("managerClient"), QStringLiteral("devices"),
                   QStringLiteral("power"), QStringLiteral("capabilities")},
                  QStringLiteral("the device"));
        DeviceSpec device;
        if (const auto x = d->value(QStringLiteral("wifiRadio"))) {
            device.wifiRadio = readBool(*x, key(path, QStringLiteral("wifiRadio")));
        }
        if (const auto x = d->value(QStringLiteral("managerClient"))) {
            device.managerClient = readBool(*x, key(path, QStringLiteral("managerClient")));
        }
        if (const auto x = d->value(QStringLiteral("devices"))) {
            device.devices =
                static_cast<int>(readIntInRange(*x, key(path, QStringLiteral("devices")), 0, kMaxDevices));
        }
        if (const auto x = d->value(QStringLiteral("power"))) {
            device.power = readBool(*x, key(path, QStringLiteral("power")));
        }
        if (const auto x = d->value(QStringLiteral("capabilities"))) {
            const QString capsPath = key(path, QStringLiteral("capabilities"));
            const DictionaryRef caps = readObject(*x, capsPath);
            for (const auto& [name, value] : caps->entries()) {
                device.capabilities[name] = readBool(value, key(capsPath, name));
            }
        }
        return device;
    }

    ScenarioEvent readEvent(const Value& v, const QString& path) const {
        const DictionaryRef d = readObject(v, path);
        checkKeys(*d, path, {QStringLiteral("atMs"), QStringLiteral("wifiPower"), QStringLiteral("comment")},
                  QStringLiteral("an event"));
        ScenarioEvent event;
        const auto at = d->value(QStringLiteral("atMs"));
        if (!at) {
            fail(path, QStringLiteral("an event needs the key \"atMs\""));
        }
        event.at = std::chrono::milliseconds(
            readIntInRange(*at, key(path, QStringLiteral("atMs")), 0, kMaxEventTimeMs));
        const auto power = d->value(QStringLiteral("wifiPower"));
        if (!power) {
            fail(path, QStringLiteral("an event needs the key \"wifiPower\""));
        }
        event.wifiPower = readBool(*power, key(path, QStringLiteral("wifiPower")));
        if (const auto c = d->value(QStringLiteral("comment"))) {
            readString(*c, key(path, QStringLiteral("comment")));
        }
        return event;
    }

    AutomationAction readAction(const Value& v, const QString& path) const {
        static const QStringList kKinds = {QStringLiteral("tap"),           QStringLiteral("wifiPower"),
                                           QStringLiteral("waitMs"),        QStringLiteral("snapshot"),
                                           QStringLiteral("tapNetwork"),    QStringLiteral("type"),
                                           QStringLiteral("pullToRefresh"), QStringLiteral("screenshot")};
        const DictionaryRef d = readObject(v, path);
        const QStringList keys = d->keys();
        if (keys.isEmpty()) {
            fail(path, QStringLiteral("an action needs one key (actions: %1)").arg(joined(kKinds)));
        }
        for (const QString& k : keys) {
            if (!kKinds.contains(k)) {
                fail(key(path, k),
                     QStringLiteral("unknown action %1 (actions: %2)").arg(quoted(k), joined(kKinds)));
            }
        }
        if (keys.size() > 1) {
            fail(path, QStringLiteral("an action has exactly one key, found %1").arg(joined(keys)));
        }
        AutomationAction action;
        action.place = path;
        action.kind = keys.first();
        action.raw = d;
        const Value value = *d->value(action.kind);
        const QString valuePath = key(path, action.kind);
        if (action.kind == QLatin1String("tap")) {
            action.tap = readNonEmptyString(value, valuePath);
        } else if (action.kind == QLatin1String("wifiPower")) {
            action.wifiPower = readBool(value, valuePath);
        } else if (action.kind == QLatin1String("waitMs")) {
            action.waitMs = static_cast<int>(readIntInRange(value, valuePath, 0, kMaxLatencyMs));
        } else if (action.kind == QLatin1String("snapshot") ||
                   action.kind == QLatin1String("pullToRefresh")) {
            if (!readBool(value, valuePath)) {
                fail(valuePath, QStringLiteral("%1 takes true").arg(quoted(action.kind)));
            }
            action.snapshot = action.kind == QLatin1String("snapshot");
        } else if (action.kind == QLatin1String("type")) {
            readString(value, valuePath);
        } else {  // tapNetwork, screenshot
            readNonEmptyString(value, valuePath);
        }
        return action;
    }

    std::vector<AutomationAction> readAutomation(const Value& v, const QString& path) const {
        if (v.kind() != Value::Kind::Array) {
            wrongType(path, QStringLiteral("an array of actions"), v);
        }
        std::vector<AutomationAction> actions;
        const ArrayRef array = v.toArray();
        for (std::size_t i = 0; i < array->size(); ++i) {
            actions.push_back(readAction((*array)[i], index(path, static_cast<qsizetype>(i))));
        }
        return actions;
    }

    // ----- the whole scenario -----------------------------------------------------------------

    std::int64_t readTestID(const QString& text, const QString& path) const {
        static const QRegularExpression kDecimal(QStringLiteral("^(0|[1-9][0-9]{0,17})$"));
        if (!kDecimal.match(text).hasMatch()) {
            fail(path,
                 QStringLiteral("a test ID is a decimal number such as \"16\", got %1").arg(quoted(text)));
        }
        return text.toLongLong();
    }

    // An object of test ID to one answer or a list of successive answers.
    std::map<std::int64_t, std::vector<TestAnswer>> readTests(const Value& v, const QString& path) const {
        std::map<std::int64_t, std::vector<TestAnswer>> out;
        const DictionaryRef tests = readObject(v, path);
        for (const auto& [idText, answers] : tests->entries()) {
            const QString idPath = key(path, idText);
            const std::int64_t id = readTestID(idText, idPath);
            out[id] = readOneOrList<TestAnswer>(
                answers, idPath, [this](const Value& x, const QString& p) { return readTestAnswer(x, p); });
        }
        return out;
    }

    Scenario readScenario(const Value& root) const {
        if (root.kind() != Value::Kind::Dictionary) {
            fail(QString(), QStringLiteral("a scenario is a JSON object, got %1").arg(kindPhrase(root)));
        }
        const DictionaryRef d = root.toDictionary();
        checkKeys(*d, QString(),
                  {QStringLiteral("description"), QStringLiteral("latencyMs"), QStringLiteral("device"),
                   QStringLiteral("status"), QStringLiteral("tests"), QStringLiteral("networks"),
                   QStringLiteral("defaultAnswer"), QStringLiteral("events"), QStringLiteral("automation")},
                  QStringLiteral("a scenario"));
        Scenario s;
        s.file = file_;
        s.status = {StatusAnswer{}};  // not joined
        s.defaultAnswer = neutralTestAnswer();
        if (const auto v = d->value(QStringLiteral("description"))) {
            s.description = readString(*v, QStringLiteral("description"));
        }
        if (const auto v = d->value(QStringLiteral("latencyMs"))) {
            s.defaultLatency = readLatency(*v, QStringLiteral("latencyMs"));
        }
        if (const auto v = d->value(QStringLiteral("device"))) {
            s.device = readDevice(*v, QStringLiteral("device"));
        }
        if (const auto v = d->value(QStringLiteral("status"))) {
            s.status = readOneOrList<StatusAnswer>(
                *v, QStringLiteral("status"),
                [this](const Value& x, const QString& p) { return readStatusAnswer(x, p); });
        }
        if (const auto v = d->value(QStringLiteral("tests"))) {
            s.tests = readTests(*v, QStringLiteral("tests"));
        }
        if (const auto v = d->value(QStringLiteral("networks"))) {
            const DictionaryRef networks = readObject(*v, QStringLiteral("networks"));
            for (const auto& [name, network] : networks->entries()) {
                const QString path = key(QStringLiteral("networks"), name);
                const DictionaryRef fields = readObject(network, path);
                checkKeys(*fields, path, {QStringLiteral("tests"), QStringLiteral("comment")},
                          QStringLiteral("a network"));
                if (const auto c = fields->value(QStringLiteral("comment"))) {
                    readString(*c, key(path, QStringLiteral("comment")));
                }
                const auto tests = fields->value(QStringLiteral("tests"));
                if (!tests) {
                    fail(path, QStringLiteral("a network needs \"tests\", the answers it gives"));
                }
                s.networkTests[name] = readTests(*tests, key(path, QStringLiteral("tests")));
            }
        }
        if (const auto v = d->value(QStringLiteral("defaultAnswer"))) {
            s.defaultAnswer = readTestAnswer(*v, QStringLiteral("defaultAnswer"));
        }
        if (const auto v = d->value(QStringLiteral("events"))) {
            if (v->kind() != Value::Kind::Array) {
                wrongType(QStringLiteral("events"), QStringLiteral("an array of events"), *v);
            }
            const ArrayRef events = v->toArray();
            for (std::size_t i = 0; i < events->size(); ++i) {
                s.events.push_back(
                    readEvent((*events)[i], index(QStringLiteral("events"), static_cast<qsizetype>(i))));
            }
        }
        if (const auto v = d->value(QStringLiteral("automation"))) {
            s.automation = readAutomation(*v, QStringLiteral("automation"));
        }
        return s;
    }

  private:
    QString file_;
};

Value parseDocument(const QByteArray& json, const QString& file) {
    try {
        return parseJson(json);
    } catch (const JsonParseError& e) {
        throw ScenarioError(file, e.position(), e.reason());
    }
}

QByteArray readWholeFile(const QString& path) {
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) {
        throw ScenarioError(path, QString(), QStringLiteral("cannot be read: %1").arg(f.errorString()));
    }
    if (f.size() > kMaxFileSize) {
        throw ScenarioError(
            path, QString(),
            QStringLiteral("is %1 bytes long; a scenario or automation file is at most %2 bytes")
                .arg(f.size())
                .arg(kMaxFileSize));
    }
    const QByteArray data = f.readAll();
    if (f.error() != QFileDevice::NoError) {
        throw ScenarioError(path, QString(), QStringLiteral("cannot be read: %1").arg(f.errorString()));
    }
    return data;
}

}  // namespace

Value typedValueFromJson(const Value& json, const QString& file, const QString& place) {
    return ScenarioReader(file).typedValue(json, place);
}

Scenario parseScenario(const QByteArray& json, const QString& file) {
    return ScenarioReader(file).readScenario(parseDocument(json, file));
}

Scenario loadScenarioFile(const QString& path) {
    return parseScenario(readWholeFile(path), path);
}

Scenario builtInScenario() {
    static std::once_flag registered;
    std::call_once(registered, [] { registerSimResources(); });
    const QString path = QStringLiteral(":/scenarios/default.json");
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) {
        throw ScenarioError(QString::fromLatin1(kBuiltInScenarioFile), QString(),
                            QStringLiteral("the built-in scenario is missing from the program's resources"));
    }
    return parseScenario(f.readAll(), QString::fromLatin1(kBuiltInScenarioFile));
}

std::vector<AutomationAction> parseAutomation(const QByteArray& json, const QString& file) {
    const Value root = parseDocument(json, file);
    ScenarioReader reader(file);
    if (root.kind() == Value::Kind::Array) {
        return reader.readAutomation(root, QString());
    }
    if (root.kind() != Value::Kind::Dictionary) {
        reader.fail(QString(),
                    QStringLiteral("an automation file holds an array of actions or an object with "
                                   "\"automation\", got %1")
                        .arg(kindPhrase(root)));
    }
    // An object is read as a scenario, so that a scenario file can serve as its own automation.
    Scenario s = reader.readScenario(root);
    if (!s.automation) {
        reader.fail(QString(), QStringLiteral("the object has no \"automation\" key"));
    }
    return std::move(*s.automation);
}

std::vector<AutomationAction> loadAutomationFile(const QString& path) {
    return parseAutomation(readWholeFile(path), path);
}

}  // namespace platform::sim
