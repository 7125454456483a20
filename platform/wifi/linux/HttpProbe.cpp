#include "platform/wifi/linux/HttpProbe.h"

#include <QMetaObject>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QThread>

#include <atomic>
#include <mutex>

namespace platform::linuxwifi {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kMaxHttpTimeout{60'000};
constexpr qsizetype kMaxBody = 64 * 1024;

}  // namespace

// One request, shared by the caller that waits for it and the network thread that makes it: the
// caller may leave (timeout, cancel) while the network thread still finishes it.
struct HttpProbe::Exchange {
    Completion done;
    std::atomic<bool> abandoned{false};

    std::mutex mutex;       // guards the answer below
    bool answered = false;  // an HTTP status came back
    int status = 0;
    std::optional<QString> location;
    QByteArray body;
    QNetworkReply::NetworkError error = QNetworkReply::NoError;
    QString errorText;

    QPointer<QNetworkReply> reply;  // used on the network thread only
};

// The network access of the probe; lives in, and is used only on, the probe's thread.
class HttpProbe::Network : public QObject {
  public:
    void start(const std::shared_ptr<Exchange>& exchange, const QNetworkRequest& request, bool head) {
        if (exchange->abandoned.load()) {
            return;
        }
        if (!manager_) {
            manager_ = new QNetworkAccessManager(this);
            // The probe measures the network itself; a proxy of the session is reported elsewhere.
            manager_->setProxy(QNetworkProxy::NoProxy);
        }
        QNetworkReply* reply = head ? manager_->head(request) : manager_->get(request);
        exchange->reply = reply;
        // Reads as the body comes, keeping only its start.
        QObject::connect(reply, &QNetworkReply::readyRead, this, [exchange, reply] {
            const QByteArray part = reply->readAll();
            std::lock_guard lock(exchange->mutex);
            exchange->body.append(part.left(kMaxBody - exchange->body.size()));
        });
        QObject::connect(reply, &QNetworkReply::finished, this, [exchange, reply] {
            const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
            const QByteArray rest = reply->readAll();
            {
                std::lock_guard lock(exchange->mutex);
                exchange->body.append(rest.left(kMaxBody - exchange->body.size()));
                exchange->answered = status.isValid();
                exchange->status = status.toInt();
                if (reply->hasRawHeader("Location")) {
                    exchange->location = QString::fromUtf8(reply->rawHeader("Location"));
                }
                exchange->error = reply->error();
                exchange->errorText = reply->errorString();
            }
            exchange->done.signal();
            reply->deleteLater();
        });
    }

    static void abort(const std::shared_ptr<Exchange>& exchange) {
        if (exchange->reply) {
            exchange->reply->abort();
        }
    }

  private:
    QNetworkAccessManager* manager_ = nullptr;
};

HttpProbe::HttpProbe() : thread_(new QThread), network_(new Network) {
    thread_->setObjectName(QStringLiteral("wifi-http-probe"));
    network_->moveToThread(thread_);
    // The network objects go with the thread, on the thread.
    QObject::connect(thread_, &QThread::finished, network_, &QObject::deleteLater);
    thread_->start();
}

HttpProbe::~HttpProbe() {
    thread_->quit();
    thread_->wait();
    delete thread_;
}

std::shared_ptr<HttpProbe::Exchange> HttpProbe::exchange(const QUrl& url, bool head, milliseconds timeout,
                                                         const CancelToken& cancel,
                                                         const std::optional<QHostAddress>& connectTo,
                                                         platform::ErrorRef* error) {
    const QString method = head ? QStringLiteral("HEAD") : QStringLiteral("GET");
    const QString scheme = url.scheme().toLower();
    if (!url.isValid() || (scheme != QLatin1String("http") && scheme != QLatin1String("https")) ||
        url.host().isEmpty()) {
        *error = probeError(probecode::kInvalidArgument,
                            QStringLiteral("the %1 probe needs an http or https URL with a host, not \"%2\"")
                                .arg(method, url.toString()));
        return nullptr;
    }
    if (timeout <= milliseconds::zero() || timeout > kMaxHttpTimeout) {
        *error = probeError(probecode::kInvalidArgument,
                            QStringLiteral("the %1 probe's timeout of %2 ms is not above 0 and at most %3")
                                .arg(method)
                                .arg(timeout.count())
                                .arg(describeDuration(kMaxHttpTimeout)));
        return nullptr;
    }
    QNetworkRequest request(url);
    if (connectTo) {
        // The address the caller resolved: Qt resolves nothing (its lookups run on pool threads
        // that nobody can stop while the resolver hangs). The server still learns which host is
        // asked for, and TLS names and verifies that host.
        QUrl direct = url;
        direct.setHost(connectTo->toString());
        request.setUrl(direct);
        const QString host = url.host(QUrl::FullyEncoded);
        request.setRawHeader(
            "Host", (url.port() >= 0 ? QStringLiteral("%1:%2").arg(host).arg(url.port()) : host).toUtf8());
        if (scheme == QLatin1String("https")) {
            request.setPeerVerifyName(url.host());
        }
    }
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    request.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    // Each probe opens a connection of its own: one kept from an earlier probe proves nothing now.
    request.setRawHeader("Connection", "close");
    request.setHeader(QNetworkRequest::UserAgentHeader, QStringLiteral("wifi-profile-probe"));

    auto exchange = std::make_shared<Exchange>();
    Network* network = network_;
    QMetaObject::invokeMethod(
        network_, [network, exchange, request, head] { network->start(exchange, request, head); },
        Qt::QueuedConnection);

    const WaitEnd end = cancel.waitFor(exchange->done, deadlineAfter(timeout));
    if (end == WaitEnd::Ready) {
        return exchange;
    }
    // Runs after the request's start on the network thread (queued in order), so it is never missed.
    exchange->abandoned.store(true);
    QMetaObject::invokeMethod(
        network_, [exchange] { Network::abort(exchange); }, Qt::QueuedConnection);
    if (end == WaitEnd::Cancelled) {
        *error = probeError(probecode::kCancelled,
                            QStringLiteral("the %1 of %2 was cancelled").arg(method, url.toString()));
    } else {
        *error =
            probeError(probecode::kTimedOut, QStringLiteral("%1 gave no answer to a %2 within %3")
                                                 .arg(url.toString(), method, describeDuration(timeout)));
    }
    return nullptr;
}

namespace {

// The error of an exchange that got no HTTP answer.
platform::ErrorRef failure(const QUrl& url, QNetworkReply::NetworkError error, const QString& text) {
    const QString where = QStringLiteral("%1:%2")
                              .arg(url.host())
                              .arg(url.port(url.scheme() == QLatin1String("https") ? 443 : 80));
    switch (error) {
        case QNetworkReply::ConnectionRefusedError:
            return probeError(probecode::kConnectionRefused,
                              QStringLiteral("%1 refused the connection (%2)").arg(where, text));
        case QNetworkReply::HostNotFoundError:
            return probeError(
                probecode::kNameNotResolved,
                QStringLiteral("the host of %1 does not resolve (%2)").arg(url.toString(), text));
        case QNetworkReply::TimeoutError:
            return probeError(probecode::kTimedOut, QStringLiteral("%1 timed out (%2)").arg(where, text));
        default:
            return probeError(probecode::kUnreachable,
                              QStringLiteral("%1 gave no HTTP answer: %2").arg(url.toString(), text));
    }
}

}  // namespace

ProbeOutcome<HttpReach> HttpProbe::reach(const QUrl& url, milliseconds timeout, const CancelToken& cancel,
                                         const std::optional<QHostAddress>& connectTo) {
    platform::ErrorRef error;
    const std::shared_ptr<Exchange> done = exchange(url, true, timeout, cancel, connectTo, &error);
    if (!done) {
        return error;
    }
    std::lock_guard lock(done->mutex);
    if (!done->answered) {
        return failure(url, done->error, done->errorText);
    }
    return HttpReach{done->status};
}

ProbeOutcome<HttpRetrieval> HttpProbe::retrieve(const QUrl& url, int expectedStatus,
                                                const std::optional<QByteArray>& expectedBody,
                                                milliseconds timeout, const CancelToken& cancel,
                                                const std::optional<QHostAddress>& connectTo) {
    platform::ErrorRef error;
    const std::shared_ptr<Exchange> done = exchange(url, false, timeout, cancel, connectTo, &error);
    if (!done) {
        return error;
    }
    std::lock_guard lock(done->mutex);
    if (!done->answered) {
        return failure(url, done->error, done->errorText);
    }
    HttpRetrieval retrieval;
    retrieval.status = done->status;
    retrieval.location = done->location;
    retrieval.body = done->body;
    retrieval.statusExpected = done->status == expectedStatus;
    retrieval.bodyExpected = !expectedBody || done->body.trimmed() == expectedBody->trimmed();
    QStringList findings;
    if (!retrieval.statusExpected && done->status >= 300 && done->status < 400) {
        findings << QStringLiteral("redirected (status %1) to %2")
                        .arg(done->status)
                        .arg(done->location.value_or(QStringLiteral("no Location")));
    } else if (!retrieval.statusExpected) {
        findings << QStringLiteral("answered status %1 where %2 was expected")
                        .arg(done->status)
                        .arg(expectedStatus);
    }
    if (!retrieval.bodyExpected) {
        findings << QStringLiteral("answered a body of %1 bytes other than the expected one")
                        .arg(done->body.size());
    }
    retrieval.finding = findings.join(QStringLiteral("; "));
    return retrieval;
}

}  // namespace platform::linuxwifi
