#include "host/HostOutput.h"

namespace host {

void writeOut(FILE* stream, const QByteArray& text) {
    std::fwrite(text.constData(), 1, static_cast<std::size_t>(text.size()), stream);
    std::fflush(stream);
}

void reportError(EventStream& events, const QString& message) {
    writeOut(stderr, QStringLiteral("wifi-profile: %1\n").arg(message).toUtf8());
    events.write(QStringLiteral("error"),
                 platform::Dictionary::make({{QStringLiteral("message"), platform::Value::string(message)}}));
}

}  // namespace host
