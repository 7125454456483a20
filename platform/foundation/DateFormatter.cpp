#include "platform/foundation/DateFormatter.h"

#include <QDateTime>

#include <cmath>

namespace platform {

QString iso8601String(const Date& d) {
    const double seconds = std::floor(d.secondsSince1970());
    // QDateTime covers years -292275056 to 292278994; keep well inside so the product stays valid.
    if (!std::isfinite(seconds) || std::fabs(seconds) > 253402300799.0 * 100) {
        return QString();
    }
    const QDateTime t = QDateTime::fromSecsSinceEpoch(static_cast<qint64>(seconds), Qt::UTC);
    return t.toString(Qt::ISODate);
}

namespace {

class ISO8601Formatter final : public DateFormatter {
  public:
    QString stringFromDate(const Date& date) const override { return iso8601String(date); }
};

}  // namespace

DateFormatterService* DateFormatterService::sharedInstance() {
    static DateFormatterService instance;
    return &instance;
}

const DateFormatter* DateFormatterService::formatterOfType(int type) const {
    static const ISO8601Formatter iso8601;
    return type == ISO8601 ? &iso8601 : nullptr;
}

}  // namespace platform
