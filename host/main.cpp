// wifi-profile: the diagnostics host. Loads the diagnostic plugin, runs it on this machine's Wi-Fi
// or the simulated device (in a window with --ui, off screen otherwise), prints its result (a
// summary for a person on a terminal, JSON otherwise), writes the report and the saved profile when
// asked, and exits with a code that says how the run went; or renders a saved profile.

#include "host/HostOptions.h"
#include "host/HostRun.h"
#include "host/ProfileOutput.h"
#include "host/report/Strings.h"

#include "platform/ui/Toolkit.h"

#include <QApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>

#include <cstdio>

int main(int argc, char** argv) {
    QStringList arguments;
    for (int i = 1; i < argc; ++i) {
        arguments << QString::fromLocal8Bit(argv[i]);
    }
    host::HostOptionsError problem;
    const auto options = host::parseHostOptions(arguments, &problem);
    if (!options) {
        std::fprintf(stderr, "wifi-profile: %s\n", problem.message.toLocal8Bit().constData());
        return problem.kind == host::HostOptionsError::Kind::Parameters ? host::kExitParametersRejected
                                                                        : host::kExitOther;
    }
    if (options->help) {
        std::fputs(host::hostUsage().toLocal8Bit().constData(), stdout);
        return host::kExitFinished;
    }
    if (options->version) {
        std::fputs(host::hostVersion().toLocal8Bit().constData(), stdout);
        return host::kExitFinished;
    }
    if (options->renderPath) {
        return host::renderSavedProfile(*options);
    }
    if (!options->ui) {
        qputenv("QT_QPA_PLATFORM", "offscreen");  // no display needed, and the screen works the same
    } else if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY") &&
               qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")) {
        // Qt would abort without a display; say what is missing instead.
        std::fputs(
            "wifi-profile: --ui needs a display (DISPLAY or WAYLAND_DISPLAY is not set); run without --ui "
            "to work off screen\n",
            stderr);
        return host::kExitOther;
    }
    platform::ui::ensureRuntimeDirectory();
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("wifi-profile"));
    // The window belongs to the application menu's entry (its icon and name on the desktop).
    QGuiApplication::setDesktopFileName(QStringLiteral("org.wifiprofile.WifiProfile"));
    // Qt's own texts (a text field's context menu) in the language of ours, where Qt's translations
    // are installed.
    QTranslator qtTexts;
    if (qtTexts.load(QLocale(report::stringsLanguage()), QStringLiteral("qtbase"), QStringLiteral("_"),
                     QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
        QApplication::installTranslator(&qtTexts);
    }
    host::HostRun run(*options);
    return run.run();
}
