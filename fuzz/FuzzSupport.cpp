#include "fuzz/FuzzSupport.h"

#include <QCoreApplication>

#include <cstdio>
#include <cstdlib>

namespace fuzzsupport {

namespace {

void quietMessageHandler(QtMsgType type, const QMessageLogContext& /*context*/, const QString& message) {
    if (type == QtFatalMsg) {
        std::fprintf(stderr, "Qt fatal: %s\n", qPrintable(message));
        std::abort();
    }
}

}  // namespace

void startQt() {
    if (QCoreApplication::instance()) {
        return;
    }
    if (qEnvironmentVariableIntValue("WIFIPROFILE_FUZZ_QT_MESSAGES") == 0) {
        qInstallMessageHandler(quietMessageHandler);
    }
    static int argc = 1;
    static char name[] = "wifiprofile-fuzz";
    static char* argv[] = {name, nullptr};
    // Lives as long as the process: the fuzzer never returns from its loop.
    new QCoreApplication(argc, argv);
}

void require(bool condition, const char* what, const QString& detail) {
    if (condition) {
        return;
    }
    std::fprintf(stderr, "fuzz check failed: %s\n", what);
    if (!detail.isEmpty()) {
        std::fprintf(stderr, "%s\n", qPrintable(detail));
    }
    std::fflush(stderr);
    std::abort();
}

QString excerpt(const QByteArray& input) {
    constexpr qsizetype kMax = 400;
    QString out = QString::fromUtf8(input.left(kMax).toPercentEncoding(" {}[]:,\"'$.-+_"));
    if (input.size() > kMax) {
        out += QStringLiteral("... (%1 bytes)").arg(input.size());
    }
    return out;
}

}  // namespace fuzzsupport
