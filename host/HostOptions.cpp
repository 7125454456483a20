#include "host/HostOptions.h"

#include "platform/foundation/JsonReader.h"

#include <QHostAddress>
#include <QUrl>

#include <map>

namespace host {

namespace {

// The parameters the diagnostic gets when the command line names none.
constexpr const char* kDefaultParameters = R"({"maxScanCacheAge": 60, "reprofileWithUI": false})";

// The event loop's timers count milliseconds in an int.
constexpr double kMaxTimeoutSeconds = 2000000.0;

// Shorthand options, each setting one key of the parameters dictionary over --parameters.
struct Shorthand {
    const char* option;
    const char* key;
    enum class Kind { String, Scalar, True } kind;  // Scalar: a JSON number or boolean, else a string
};
constexpr Shorthand kShorthands[] = {
    {"--network-name", "networkName", Shorthand::Kind::String},
    {"--max-scan-cache-age", "maxScanCacheAge", Shorthand::Kind::Scalar},
    {"--list", "reprofileWithUI", Shorthand::Kind::True},
};

const Shorthand* findShorthand(const QString& option) {
    for (const auto& s : kShorthands) {
        if (option == QLatin1String(s.option)) {
            return &s;
        }
    }
    return nullptr;
}

// A shorthand's value as the diagnostic will see it: "60" is the number 60, "true" a boolean;
// anything else stays text, so the diagnostic's own check can say what is wrong with it.
platform::Value scalarFromArgument(const QString& text) {
    if (const auto v = platform::tryParseJson(text.toUtf8()); v && (v->isNumber() || v->isBool())) {
        return *v;
    }
    return platform::Value::string(text);
}

bool takesValue(const QString& option) {
    static const QStringList withValue = {
        "--parameters", "--scenario",     "--automation", "--events",         "--timeout",
        "--plugin",     "--backend",      "--ping-wan",   "--ping-wan6",      "--dns-name",
        "--check-url",  "--check-status", "--check-body", "--nl80211-record", "--nl80211-replay",
        "--format",     "--report",       "--save",       "--render"};
    if (withValue.contains(option)) {
        return true;
    }
    const Shorthand* s = findShorthand(option);
    return s && s->kind != Shorthand::Kind::True;
}

}  // namespace

std::optional<HostOptions> parseHostOptions(const QStringList& arguments, HostOptionsError* error) {
    auto fail = [error](HostOptionsError::Kind kind, const QString& message) {
        if (error) {
            *error = HostOptionsError{kind, message};
        }
        return std::nullopt;
    };

    HostOptions options;
    std::optional<BackendChoice> backend;
    std::optional<QByteArray> parametersText;
    std::vector<std::pair<const Shorthand*, QString>> shorthands;
    bool timeoutGiven = false;

    for (qsizetype i = 0; i < arguments.size(); ++i) {
        QString option = arguments[i];
        std::optional<QString> value;
        if (const qsizetype eq = option.indexOf(u'='); option.startsWith(QLatin1String("--")) && eq > 0) {
            value = option.mid(eq + 1);
            option = option.left(eq);
        }
        const bool known = option == QLatin1String("--help") || option == QLatin1String("-h") ||
                           option == QLatin1String("--version") || option == QLatin1String("--ui") ||
                           option == QLatin1String("--redact") || takesValue(option) || findShorthand(option);
        if (!known) {
            return fail(HostOptionsError::Kind::Usage,
                        QStringLiteral("unknown option %1 (see --help)").arg(arguments[i]));
        }
        if (takesValue(option)) {
            if (!value) {
                if (i + 1 >= arguments.size()) {
                    return fail(HostOptionsError::Kind::Usage,
                                QStringLiteral("%1 needs a value").arg(option));
                }
                value = arguments[++i];
            }
        } else if (value) {
            return fail(HostOptionsError::Kind::Usage, QStringLiteral("%1 takes no value").arg(option));
        }

        if (option == QLatin1String("--help") || option == QLatin1String("-h")) {
            options.help = true;
        } else if (option == QLatin1String("--version")) {
            options.version = true;
        } else if (option == QLatin1String("--ui")) {
            options.ui = true;
        } else if (option == QLatin1String("--redact")) {
            options.redact = true;
        } else if (option == QLatin1String("--format")) {
            if (*value == QLatin1String("json")) {
                options.format = OutputFormat::Json;
            } else if (*value == QLatin1String("text")) {
                options.format = OutputFormat::Text;
            } else {
                return fail(HostOptionsError::Kind::Usage,
                            QStringLiteral("--format is json or text, got \"%1\"").arg(*value));
            }
        } else if (option == QLatin1String("--report") || option == QLatin1String("--save") ||
                   option == QLatin1String("--render")) {
            if (value->isEmpty()) {
                return fail(HostOptionsError::Kind::Usage, QStringLiteral("%1 needs a file").arg(option));
            }
            (option == QLatin1String("--report") ? options.reportPath
             : option == QLatin1String("--save") ? options.savePath
                                                 : options.renderPath) = *value;
        } else if (option == QLatin1String("--parameters")) {
            parametersText = value->toUtf8();
        } else if (option == QLatin1String("--scenario")) {
            options.scenarioPath = *value;
        } else if (option == QLatin1String("--automation")) {
            options.automationPath = *value;
        } else if (option == QLatin1String("--events")) {
            options.eventsPath = *value;
        } else if (option == QLatin1String("--plugin")) {
            options.pluginPath = *value;
        } else if (option == QLatin1String("--backend")) {
            static const std::map<QString, BackendChoice> kChoices = {
                {QStringLiteral("auto"), BackendChoice::Auto},
                {QStringLiteral("linux"), BackendChoice::Linux},
                {QStringLiteral("sim"), BackendChoice::Sim}};
            const auto choice = kChoices.find(*value);
            if (choice == kChoices.end()) {
                return fail(HostOptionsError::Kind::Usage,
                            QStringLiteral("--backend is auto, linux or sim, got \"%1\"").arg(*value));
            }
            backend = choice->second;
        } else if (option == QLatin1String("--ping-wan")) {
            if (QHostAddress(*value).protocol() != QAbstractSocket::IPv4Protocol) {
                return fail(HostOptionsError::Kind::Usage,
                            QStringLiteral("--ping-wan needs an IPv4 address, got \"%1\"").arg(*value));
            }
            options.probeTargets.wanPingAddress = *value;
        } else if (option == QLatin1String("--ping-wan6")) {
            if (QHostAddress(*value).protocol() != QAbstractSocket::IPv6Protocol) {
                return fail(HostOptionsError::Kind::Usage,
                            QStringLiteral("--ping-wan6 needs an IPv6 address, got \"%1\"").arg(*value));
            }
            options.probeTargets.wanPingAddress6 = *value;
        } else if (option == QLatin1String("--dns-name")) {
            if (value->isEmpty()) {
                return fail(HostOptionsError::Kind::Usage, QStringLiteral("--dns-name needs a host name"));
            }
            options.probeTargets.dnsName = *value;
        } else if (option == QLatin1String("--check-url")) {
            const QUrl url(*value, QUrl::StrictMode);
            if (!url.isValid() ||
                (url.scheme() != QLatin1String("http") && url.scheme() != QLatin1String("https"))) {
                return fail(HostOptionsError::Kind::Usage,
                            QStringLiteral("--check-url needs an http or https URL, got \"%1\"").arg(*value));
            }
            options.probeTargets.checkUrl = url;
        } else if (option == QLatin1String("--check-status")) {
            bool ok = false;
            const int status = value->toInt(&ok);
            if (!ok || status < 100 || status > 599) {
                return fail(HostOptionsError::Kind::Usage,
                            QStringLiteral("--check-status needs an HTTP status from 100 to 599, got \"%1\"")
                                .arg(*value));
            }
            options.probeTargets.checkStatus = status;
        } else if (option == QLatin1String("--check-body")) {
            // An empty value means any body will do.
            options.probeTargets.checkBody =
                value->isEmpty() ? std::nullopt : std::optional<QByteArray>(value->toUtf8());
        } else if (option == QLatin1String("--nl80211-record") ||
                   option == QLatin1String("--nl80211-replay")) {
            if (value->isEmpty()) {
                return fail(HostOptionsError::Kind::Usage,
                            QStringLiteral("%1 needs a directory").arg(option));
            }
            (option == QLatin1String("--nl80211-record") ? options.nl80211RecordDir
                                                         : options.nl80211ReplayDir) = *value;
        } else if (option == QLatin1String("--timeout")) {
            bool ok = false;
            const double seconds = value->toDouble(&ok);
            if (!ok || !(seconds > 0.0) || seconds > kMaxTimeoutSeconds) {
                return fail(
                    HostOptionsError::Kind::Usage,
                    QStringLiteral("--timeout must be a number of seconds above 0 and at most %1, got \"%2\"")
                        .arg(QString::number(kMaxTimeoutSeconds, 'f', 0), *value));
            }
            options.timeoutSeconds = seconds;
            timeoutGiven = true;
        } else {
            shorthands.emplace_back(findShorthand(option), value.value_or(QString()));
        }
    }

    if (options.scenarioPath && backend == BackendChoice::Linux) {
        return fail(
            HostOptionsError::Kind::Usage,
            QStringLiteral("--scenario describes a simulated device; it cannot go with --backend linux"));
    }
    options.backend = options.scenarioPath ? BackendChoice::Sim : backend.value_or(BackendChoice::Auto);
    if (options.renderPath) {
        // A saved profile is rendered as it is: nothing runs.
        for (const auto& [given, name] :
             {std::pair{options.scenarioPath.has_value(), "--scenario"},
              std::pair{options.automationPath.has_value(), "--automation"},
              std::pair{backend.has_value(), "--backend"}, std::pair{options.ui, "--ui"},
              std::pair{options.nl80211RecordDir.has_value(), "--nl80211-record"},
              std::pair{options.nl80211ReplayDir.has_value(), "--nl80211-replay"},
              std::pair{parametersText.has_value() || !shorthands.empty(), "--parameters or its shorthands"},
              std::pair{timeoutGiven, "--timeout"}}) {
            if (given) {
                return fail(
                    HostOptionsError::Kind::Usage,
                    QStringLiteral("--render shows a saved profile and runs nothing; it cannot go with %1")
                        .arg(QLatin1String(name)));
            }
        }
    }
    // A person at a window takes the time they need (the network list may stay open for long):
    // with --ui the run has no time limit of its own unless one is given.
    if (options.ui && !timeoutGiven) {
        options.timeoutSeconds = kMaxTimeoutSeconds;
    }
    if (options.nl80211RecordDir && options.nl80211ReplayDir) {
        return fail(HostOptionsError::Kind::Usage,
                    QStringLiteral("--nl80211-record and --nl80211-replay cannot go together"));
    }
    if ((options.nl80211RecordDir || options.nl80211ReplayDir) && options.backend == BackendChoice::Sim) {
        return fail(
            HostOptionsError::Kind::Usage,
            QStringLiteral("%1 is about the real system's radio; it cannot go with %2")
                .arg(options.nl80211RecordDir ? QStringLiteral("--nl80211-record")
                                              : QStringLiteral("--nl80211-replay"),
                     options.scenarioPath ? QStringLiteral("--scenario") : QStringLiteral("--backend sim")));
    }

    const QByteArray text = parametersText.value_or(QByteArray(kDefaultParameters));
    platform::Value parsed = platform::Value::null();
    try {
        parsed = platform::parseJson(text);
    } catch (const platform::JsonParseError& e) {
        return fail(HostOptionsError::Kind::Parameters, QStringLiteral("--parameters: %1").arg(e.message()));
    }
    if (parsed.kind() != platform::Value::Kind::Dictionary) {
        return fail(
            HostOptionsError::Kind::Parameters,
            QStringLiteral("--parameters: must be a JSON object, got %1 %2")
                .arg(QString::fromUtf8(platform::Value::kindName(parsed.kind())), parsed.description()));
    }
    options.parameters = parsed.toDictionary();
    for (const auto& [shorthand, value] : shorthands) {
        const QString key = QString::fromUtf8(shorthand->key);
        switch (shorthand->kind) {
            case Shorthand::Kind::String:
                options.parameters->set(key, platform::Value::string(value));
                break;
            case Shorthand::Kind::Scalar:
                options.parameters->set(key, scalarFromArgument(value));
                break;
            case Shorthand::Kind::True:
                options.parameters->set(key, platform::Value::boolean(true));
                break;
        }
    }
    return options;
}

QString hostVersion() {
    return QStringLiteral("wifi-profile " WIFIPROFILE_VERSION "\n");
}

QString hostUsage() {
    const platform::linuxwifi::ProbeTargets defaults;
    return QStringLiteral(
               "Usage: wifi-profile [options]\n"
               "\n"
               "Profiles this machine's Wi-Fi (or a simulated device) and prints the result: a summary\n"
               "for a person at a terminal, else as JSON: {\"statusCode\": N, \"data\": {...}}\n"
               "\n"
               "Parameters:\n"
               "  --parameters JSON          the raw parameters dictionary (default %1)\n"
               "  --network-name NAME        sets \"networkName\"\n"
               "  --list                     sets \"reprofileWithUI\" to true\n"
               "  --max-scan-cache-age N     sets \"maxScanCacheAge\"\n"
               "Device:\n"
               "  --backend auto|linux|sim   whose Wi-Fi to profile: this machine's through NetworkManager,\n"
               "                             or the simulated device; auto takes NetworkManager when it\n"
               "                             answers and lists a Wi-Fi device (default auto)\n"
               "  --scenario FILE            the simulated device and its answers (default: built in);\n"
               "                             implies --backend sim\n"
               "  --ping-wan ADDRESS         IPv4 address the WAN ping and double NAT probe aim at (default "
               "%2)\n"
               "  --ping-wan6 ADDRESS        IPv6 address the WAN ping aims at on a network without IPv4\n"
               "                             (default %7)\n"
               "  --dns-name NAME            host name the DNS test resolves (default %3)\n"
               "  --check-url URL            internet check URL (default %4)\n"
               "  --check-status N           the status it must answer (default %5)\n"
               "  --check-body TEXT          the body it must answer; empty: any (default \"%6\")\n"
               "  --nl80211-record DIR       write the kernel's nl80211 answers (the radio details) to DIR\n"
               "  --nl80211-replay DIR       read the radio details from a recording in DIR instead of the\n"
               "                             kernel (NetworkManager and BlueZ are still asked)\n"
               "Run:\n"
               "  --automation FILE          user actions to play (default: the scenario's own)\n"
               "  --ui                       show the diagnostic in a window (default: off screen)\n"
               "  --timeout SECONDS          give up after this long (default 600; none with --ui)\n"
               "  --plugin PATH              the diagnostic plugin (default: the one installed beside)\n"
               "Output:\n"
               "  --format json|text         stdout gets the result's JSON line, or a summary for a person\n"
               "                             (default: the summary on a terminal, JSON otherwise)\n"
               "  --report FILE              write an HTML report of the profile to FILE\n"
               "  --save FILE                write the whole profile (result, answers, log) as JSON to FILE\n"
               "  --render FILE              show a saved profile (summary, --report) instead of running\n"
               "  --redact                   pseudonyms for BSSIDs and other networks' names, no public\n"
               "                             addresses, in everything written\n"
               "  --events FILE              write observable events as JSON lines to FILE\n"
               "  --version                  show the program's version\n"
               "  -h, --help                 show this text\n"
               "\n"
               "Exit codes: 0 finished; 2 parameters rejected; 3 scenario, automation, nl80211 recording or\n"
               "saved profile unusable; 4 not finished within the timeout; 5 the real system's Wi-Fi cannot "
               "be\n"
               "profiled (--backend linux); 1 anything else.\n")
        .arg(QString::fromUtf8(kDefaultParameters), defaults.wanPingAddress, defaults.dnsName,
             defaults.checkUrl.toString(), QString::number(defaults.checkStatus),
             QString::fromUtf8(defaults.checkBody.value_or(QByteArray()))
                 .replace(QLatin1Char('\n'), QLatin1String("\\n")),
             defaults.wanPingAddress6);
}

}  // namespace host
