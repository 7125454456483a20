#include "fuzz/FuzzSupport.h"

#include "platform/foundation/JsonReader.h"

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

// text with control characters and lone surrogates written as \uXXXX, so that a NUL or a broken
// character cannot cut the message short or garble it.
QByteArray printable(const QString& text) {
    QString out;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text[i];
        const bool pair = c.isHighSurrogate() && i + 1 < text.size() && text[i + 1].isLowSurrogate();
        if (pair) {
            out += c;
            out += text[++i];
        } else if ((c.unicode() < 0x20 && c != QLatin1Char('\n')) || c.unicode() == 0x7f || c.isSurrogate()) {
            out += QStringLiteral("\\u%1").arg(c.unicode(), 4, 16, QLatin1Char('0'));
        } else {
            out += c;
        }
    }
    return out.toUtf8();
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
        const QByteArray bytes = printable(detail);
        std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), stderr);
        std::fputc('\n', stderr);
    }
    std::fflush(stderr);
    std::abort();
}

void requireReadsBackAsJson(const QByteArray& written, const char* what, const QString& context) {
    QString failure;
    // Read first: the order in which a call's arguments are worked out is the compiler's choice.
    const bool readsBack = platform::tryParseJson(written, &failure).has_value();
    if (readsBack) {
        return;
    }
    const QString prefix = context.isEmpty() ? QString() : context + QStringLiteral(": ");
    require(false, what, prefix + failure + QStringLiteral("\nwritten: ") + excerpt(written));
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
