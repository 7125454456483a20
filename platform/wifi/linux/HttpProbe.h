#pragma once
// HTTP probes of the internet check endpoint, for the Reach and Retrieve tests and the captive
// portal check: Qt's network access on a thread of its own with its own event loop, called
// synchronously from any other thread (a service worker, a plain thread), bounded in time and
// cancellable. Each request opens a connection of its own, straight to the endpoint (never through
// a proxy: the probe measures the network itself), without cache or cookies.

#include "platform/wifi/linux/CancelToken.h"

#include <QByteArray>
#include <QHostAddress>
#include <QString>
#include <QUrl>

#include <chrono>
#include <memory>
#include <optional>

class QThread;

namespace platform::linuxwifi {

// The endpoint answered HTTP: any status at all.
struct HttpReach {
    int status = 0;
};

// What a GET answered, compared with what the endpoint answers when nothing stands in between.
// A redirect, another status or another body is "portal-like": a sign-in page may be in the way.
struct HttpRetrieval {
    int status = 0;
    std::optional<QString> location;  // the Location header of a redirect
    QByteArray body;                  // at most the first 64 KiB
    bool statusExpected = false;
    bool bodyExpected = false;  // also true when no body was expected
    QString finding;            // what differs from the expected answer, empty when nothing does

    bool portalLike() const { return !statusExpected || !bodyExpected; }
};

class HttpProbe {
  public:
    // Starts the probe's network thread.
    HttpProbe();
    // Aborts what is still in flight and ends the thread; no call may be waiting then.
    ~HttpProbe();
    HttpProbe(const HttpProbe&) = delete;
    HttpProbe& operator=(const HttpProbe&) = delete;

    // HEAD of url (http or https, redirects not followed): the endpoint accepted a connection and
    // answered HTTP. A refused connection is error 61, no answer within timeout error 60, a cancel
    // error 125 (the request is aborted), a host name that does not resolve error 8.
    // With connectTo, an http URL's request goes to that address, already resolved (and its route
    // checked) by the caller, with the URL's host in the Host header: nothing is resolved again.
    ProbeOutcome<HttpReach> reach(const QUrl& url, std::chrono::milliseconds timeout,
                                  const CancelToken& cancel,
                                  const std::optional<QHostAddress>& connectTo = std::nullopt);

    // GET of url, redirects not followed, compared with the expected status and, when given, the
    // expected body (both trimmed of surrounding white space). Errors and connectTo as for reach().
    ProbeOutcome<HttpRetrieval> retrieve(const QUrl& url, int expectedStatus,
                                         const std::optional<QByteArray>& expectedBody,
                                         std::chrono::milliseconds timeout, const CancelToken& cancel,
                                         const std::optional<QHostAddress>& connectTo = std::nullopt);

  private:
    struct Exchange;
    class Network;

    std::shared_ptr<Exchange> exchange(const QUrl& url, bool head, std::chrono::milliseconds timeout,
                                       const CancelToken& cancel,
                                       const std::optional<QHostAddress>& connectTo,
                                       platform::ErrorRef* error);

    QThread* thread_ = nullptr;
    Network* network_ = nullptr;  // lives in thread_
};

}  // namespace platform::linuxwifi
