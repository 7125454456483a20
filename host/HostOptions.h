#pragma once
// The host's command line: what to run (plugin, parameters, scenario, automation), how (window or
// off screen, time limit) and where observable events go.

#include "platform/foundation/Value.h"
#include "platform/wifi/linux/ProbeTargets.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace host {

// Which Wi-Fi the diagnostic profiles: the real system's (NetworkManager), the simulated device,
// or the real one when NetworkManager answers and lists a Wi-Fi device.
enum class BackendChoice { Auto, Linux, Sim };

// What stdout gets: the result's JSON line, or the summary for a person; Auto: the summary on a
// terminal, JSON elsewhere (scripts and host programs see no change).
enum class OutputFormat { Auto, Json, Text };

struct HostOptions {
    platform::DictionaryRef parameters;   // the raw parameters dictionary handed to the diagnostic
    std::optional<QString> scenarioPath;  // absent: the built-in scenario
    std::optional<QString> automationPath;
    std::optional<QString> eventsPath;
    std::optional<QString> pluginPath;            // absent: the diagnostic installed beside the host
    BackendChoice backend = BackendChoice::Auto;  // --scenario means Sim
    platform::linuxwifi::ProbeTargets probeTargets;
    // The real system's radio details: written to a recording, or read from one instead of the kernel.
    std::optional<QString> nl80211RecordDir;
    std::optional<QString> nl80211ReplayDir;
    bool ui = false;
    OutputFormat format = OutputFormat::Auto;
    std::optional<QString> reportPath;  // the HTML report
    std::optional<QString> savePath;    // the whole profile, to render later
    std::optional<QString> renderPath;  // a saved profile to render instead of a run
    bool redact = false;                // pseudonyms for BSSIDs and other networks, no public addresses
    double timeoutSeconds = 600.0;
    bool help = false;
    bool version = false;
};

// What --version prints: the program's name and version, one line.
QString hostVersion();

// Why the command line cannot be used. A problem with the parameters themselves (unreadable JSON)
// is told apart from a misuse of the command line, since they end with different exit codes.
struct HostOptionsError {
    enum class Kind { Usage, Parameters };
    Kind kind = Kind::Usage;
    QString message;
};

// Reads arguments (without the program name). Answers the options, or sets *error and answers
// std::nullopt.
std::optional<HostOptions> parseHostOptions(const QStringList& arguments, HostOptionsError* error);

QString hostUsage();

}  // namespace host
