#include "platform/wifi/sim/Scenario.h"

#include "platform/foundation/JsonFieldReader.h"
#include "platform/foundation/JsonReader.h"
#include "platform/wifi/sim/TypedValues.h"

#include <QFile>
#include <QRegularExpression>
#include <QStringList>

#include <functional>
#include <mutex>

// The built-in scenario is compiled into this library as a Qt resource; registering it by hand
// makes it available whether the library is linked shared or static.
static void registerSimResources() {
    Q_INIT_RESOURCE(sim);
}

namespace platform::sim {

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

// The reading of a scenario's JSON tree into its typed form. Every complaint is a JsonFieldError
// naming the JSON path of the offending value; the public functions below add the file.

// A value that is one item or a list of items; a list must not be empty.
template <class T>
std::vector<T> readOneOrList(const JsonField& field, const std::function<T(const JsonField&)>& readItem) {
    std::vector<T> items;
    if (field.kind() == Value::Kind::Array) {
        const std::vector<JsonField> elements = field.readArray();
        if (elements.empty()) {
            field.fail(QStringLiteral("expected at least one answer, got an empty list"));
        }
        for (const JsonField& element : elements) {
            items.push_back(readItem(element));
        }
    } else {
        items.push_back(readItem(field));
    }
    return items;
}

std::chrono::milliseconds readLatency(const JsonField& field) {
    return std::chrono::milliseconds(field.readIntInRange(0, kMaxLatencyMs));
}

// A "comment" is any string and is otherwise ignored.
void readComment(const JsonObjectFields& object) {
    if (const auto c = object.find(QStringLiteral("comment"))) {
        c->readString();
    }
}

// ----- answers -------------------------------------------------------------------------------------

ErrorRef readError(const JsonField& field) {
    const JsonObjectFields d = field.readObject();
    d.rejectUnknownKeys({QStringLiteral("code"), QStringLiteral("domain"), QStringLiteral("text")},
                        QStringLiteral("an error"));
    const JsonField code = d.require(QStringLiteral("code"), QStringLiteral("an error"));
    QString domain = kDefaultErrorDomain, text;
    if (const auto x = d.find(QStringLiteral("domain"))) {
        domain = x->readString();
    }
    if (const auto x = d.find(QStringLiteral("text"))) {
        text = x->readString();
    }
    return makeError(domain, code.readInt(), text);
}

// One result record: {"result": bool, "didPass": bool, "info": {...} or null}. The caller has
// checked d's keys (an answer in short form also holds the answer's own keys).
DiagnosticsTestResultRef readResult(const JsonObjectFields& d) {
    auto r = std::make_shared<DiagnosticsTestResult>();
    r->result = d.require(QStringLiteral("result"), QStringLiteral("a test result")).readBool();
    r->didPass = d.require(QStringLiteral("didPass"), QStringLiteral("a test result")).readBool();
    if (const auto info = d.find(QStringLiteral("info")); info && !info->isNull()) {
        info->readObject();
        r->info = readTypedValue(*info).toDictionary();
    }
    return r;
}

TestAnswer readTestAnswer(const JsonField& field) {
    const JsonObjectFields d = field.readObject();
    d.rejectUnknownKeys({QStringLiteral("result"), QStringLiteral("didPass"), QStringLiteral("info"),
                         QStringLiteral("results"), QStringLiteral("error"), QStringLiteral("latencyMs"),
                         QStringLiteral("comment")},
                        QStringLiteral("a test answer"));
    const bool shortForm = d.contains(QStringLiteral("result")) || d.contains(QStringLiteral("didPass")) ||
                           d.contains(QStringLiteral("info"));
    const bool longForm = d.contains(QStringLiteral("results"));
    if (shortForm && longForm) {
        d.fail(
            QStringLiteral("an answer gives either \"results\" or \"result\", \"didPass\" and \"info\", "
                           "not both"));
    }
    TestAnswer answer;
    if (const auto e = d.find(QStringLiteral("error"))) {
        answer.error = readError(*e);
    }
    if (!shortForm && !longForm && !answer.error) {
        d.fail(QStringLiteral("an answer needs \"result\" and \"didPass\", \"results\" or \"error\""));
    }
    if (shortForm) {
        answer.results = std::vector<DiagnosticsTestResultRef>{readResult(d)};
    } else if (longForm) {
        const JsonField results = *d.find(QStringLiteral("results"));
        if (!results.isNull()) {
            std::vector<DiagnosticsTestResultRef> list;
            for (const JsonField& element : results.readArray(QStringLiteral("an array or null"))) {
                if (element.isNull()) {
                    list.push_back(nullptr);
                    continue;
                }
                const JsonObjectFields rd = element.readObject();
                rd.rejectUnknownKeys(
                    {QStringLiteral("result"), QStringLiteral("didPass"), QStringLiteral("info")},
                    QStringLiteral("a test result"));
                list.push_back(readResult(rd));
            }
            answer.results = std::move(list);
        }
    }
    if (const auto l = d.find(QStringLiteral("latencyMs"))) {
        answer.latency = readLatency(*l);
    }
    readComment(d);
    return answer;
}

StatusAnswer readStatusAnswer(const JsonField& field) {
    const JsonObjectFields d = field.readObject();
    d.rejectUnknownKeys(
        {QStringLiteral("ssid"), QStringLiteral("bssid"), QStringLiteral("joined"), QStringLiteral("wifi"),
         QStringLiteral("error"), QStringLiteral("latencyMs"), QStringLiteral("comment")},
        QStringLiteral("a status answer"));
    StatusAnswer answer;
    const QStringList forms = [&] {
        QStringList present;
        for (const char* k : {"ssid", "bssid", "joined", "wifi", "error"}) {
            if (d.contains(QLatin1String(k))) {
                present.append(QLatin1String(k));
            }
        }
        return present;
    }();
    // The forms other than "joined" with "ssid" and "bssid" stand alone.
    const auto alone = [&](const QString& form) {
        for (const QString& k : forms) {
            if (k != form) {
                d.failAt(k, QStringLiteral("a status answer with %1 cannot also have %2")
                                .arg(quoted(form), quoted(k)));
            }
        }
    };
    if (const auto error = d.find(QStringLiteral("error"))) {
        alone(QStringLiteral("error"));
        answer.kind = StatusAnswer::Kind::Error;
        answer.error = readError(*error);
    } else if (const auto wifi = d.find(QStringLiteral("wifi"))) {
        alone(QStringLiteral("wifi"));
        if (!wifi->isNull()) {
            wifi->fail(
                QStringLiteral("only \"wifi\": null is allowed here (a snapshot without Wi-Fi status)"));
        }
        answer.kind = StatusAnswer::Kind::NoWiFiStatus;
    } else if (const auto joined = d.find(QStringLiteral("joined")); joined && !joined->readBool()) {
        alone(QStringLiteral("joined"));
        answer.kind = StatusAnswer::Kind::NotJoined;
    } else if (!forms.isEmpty()) {
        for (const char* k : {"ssid", "bssid"}) {
            const auto value = d.find(QLatin1String(k));
            if (!value) {
                d.fail(QStringLiteral("a joined status needs \"ssid\" and \"bssid\"; %1 is missing")
                           .arg(quoted(QLatin1String(k))));
            }
            (k[0] == 's' ? answer.ssid : answer.bssid) = value->readString();
        }
        answer.kind = StatusAnswer::Kind::Joined;
    } else {
        d.fail(
            QStringLiteral("a status answer needs \"ssid\" and \"bssid\", \"joined\": false, "
                           "\"wifi\": null or \"error\""));
    }
    if (const auto l = d.find(QStringLiteral("latencyMs"))) {
        answer.latency = readLatency(*l);
    }
    readComment(d);
    return answer;
}

// ----- device, events, automation ------------------------------------------------------------------

DeviceSpec readDevice(const JsonField& field) {
    const JsonObjectFields d = field.readObject();
    d.rejectUnknownKeys({QStringLiteral("wifiRadio"), QStringLiteral("managerClient"),
                         QStringLiteral("devices"), QStringLiteral("power"), QStringLiteral("capabilities")},
                        QStringLiteral("the device"));
    DeviceSpec device;
    if (const auto x = d.find(QStringLiteral("wifiRadio"))) {
        device.wifiRadio = x->readBool();
    }
    if (const auto x = d.find(QStringLiteral("managerClient"))) {
        device.managerClient = x->readBool();
    }
    if (const auto x = d.find(QStringLiteral("devices"))) {
        device.devices = static_cast<int>(x->readIntInRange(0, kMaxDevices));
    }
    if (const auto x = d.find(QStringLiteral("power"))) {
        device.power = x->readBool();
    }
    if (const auto x = d.find(QStringLiteral("capabilities"))) {
        for (const auto& [name, value] : x->readObject().entries()) {
            device.capabilities[name] = value.readBool();
        }
    }
    return device;
}

ScenarioEvent readEvent(const JsonField& field) {
    const JsonObjectFields d = field.readObject();
    d.rejectUnknownKeys({QStringLiteral("atMs"), QStringLiteral("wifiPower"), QStringLiteral("comment")},
                        QStringLiteral("an event"));
    ScenarioEvent event;
    event.at = std::chrono::milliseconds(
        d.require(QStringLiteral("atMs"), QStringLiteral("an event")).readIntInRange(0, kMaxEventTimeMs));
    event.wifiPower = d.require(QStringLiteral("wifiPower"), QStringLiteral("an event")).readBool();
    readComment(d);
    return event;
}

// ----- the whole scenario --------------------------------------------------------------------------

// A test ID from its key in "tests"; field is the key's answers, which carry the key's path.
std::int64_t readTestID(const QString& text, const JsonField& field) {
    static const QRegularExpression kDecimal(QStringLiteral("^(0|[1-9][0-9]{0,17})$"));
    if (!kDecimal.match(text).hasMatch()) {
        field.fail(QStringLiteral("a test ID is a decimal number such as \"16\", got %1").arg(quoted(text)));
    }
    return text.toLongLong();
}

// An object of test ID to one answer or a list of successive answers.
std::map<std::int64_t, std::vector<TestAnswer>> readTests(const JsonField& field) {
    std::map<std::int64_t, std::vector<TestAnswer>> out;
    for (const auto& [idText, answers] : field.readObject().entries()) {
        const std::int64_t id = readTestID(idText, answers);
        out[id] = readOneOrList<TestAnswer>(answers, readTestAnswer);
    }
    return out;
}

std::map<QString, std::map<std::int64_t, std::vector<TestAnswer>>> readNetworks(const JsonField& field) {
    std::map<QString, std::map<std::int64_t, std::vector<TestAnswer>>> out;
    for (const auto& [name, network] : field.readObject().entries()) {
        const JsonObjectFields fields = network.readObject();
        fields.rejectUnknownKeys({QStringLiteral("tests"), QStringLiteral("comment")},
                                 QStringLiteral("a network"));
        readComment(fields);
        const auto tests = fields.find(QStringLiteral("tests"));
        if (!tests) {
            fields.fail(QStringLiteral("a network needs \"tests\", the answers it gives"));
        }
        out[name] = readTests(*tests);
    }
    return out;
}

Scenario readScenario(const JsonField& root) {
    if (root.kind() != Value::Kind::Dictionary) {
        root.fail(QStringLiteral("a scenario is a JSON object, got %1").arg(jsonKindPhrase(root.value())));
    }
    const JsonObjectFields d = root.readObject();
    d.rejectUnknownKeys(
        {QStringLiteral("description"), QStringLiteral("latencyMs"), QStringLiteral("device"),
         QStringLiteral("status"), QStringLiteral("tests"), QStringLiteral("networks"),
         QStringLiteral("defaultAnswer"), QStringLiteral("events"), QStringLiteral("automation")},
        QStringLiteral("a scenario"));
    Scenario s;
    s.status = {StatusAnswer{}};  // not joined
    s.defaultAnswer = neutralTestAnswer();
    if (const auto v = d.find(QStringLiteral("description"))) {
        s.description = v->readString();
    }
    if (const auto v = d.find(QStringLiteral("latencyMs"))) {
        s.defaultLatency = readLatency(*v);
    }
    if (const auto v = d.find(QStringLiteral("device"))) {
        s.device = readDevice(*v);
    }
    if (const auto v = d.find(QStringLiteral("status"))) {
        s.status = readOneOrList<StatusAnswer>(*v, readStatusAnswer);
    }
    if (const auto v = d.find(QStringLiteral("tests"))) {
        s.tests = readTests(*v);
    }
    if (const auto v = d.find(QStringLiteral("networks"))) {
        s.networkTests = readNetworks(*v);
    }
    if (const auto v = d.find(QStringLiteral("defaultAnswer"))) {
        s.defaultAnswer = readTestAnswer(*v);
    }
    if (const auto v = d.find(QStringLiteral("events"))) {
        for (const JsonField& event : v->readArray(QStringLiteral("an array of events"))) {
            s.events.push_back(readEvent(event));
        }
    }
    if (const auto v = d.find(QStringLiteral("automation"))) {
        s.automation = *v;  // the host reads the user actions; the device has no part in them
    }
    return s;
}

Value parseDocument(const QByteArray& json, const QString& file) {
    try {
        return parseJson(json);
    } catch (const JsonParseError& e) {
        throw ScenarioError(file, e.position(), e.reason());
    }
}

}  // namespace

QByteArray readScenarioFileBytes(const QString& path) {
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

Scenario parseScenario(const QByteArray& json, const QString& file) {
    const Value root = parseDocument(json, file);
    Scenario s = readingFile<ScenarioError>(file, [&] { return readScenario(JsonField(root)); });
    s.file = file;
    return s;
}

Scenario loadScenarioFile(const QString& path) {
    return parseScenario(readScenarioFileBytes(path), path);
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

}  // namespace platform::sim
