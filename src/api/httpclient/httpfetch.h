// SPDX-License-Identifier: MIT
#pragma once

#include "httpclient/httpclient.h"
#include "support/glibptr.h"

#include <QObject>
#include <QTimer>
#include <libsoup/soup.h>

// One fetch of an HttpClient, and its child. Deletes itself after its callback. Its destructor
// cancels the fetch without a call.
class HttpFetch : public QObject {
    Q_OBJECT

public:
    HttpFetch(SoupSession* session, const HttpClientOptions& options, HttpClient::Callback callback,
              QObject* parent);
    ~HttpFetch() override;

    void start(const PlixUrl& url, SoupHTTPVersion version);

private:
    void readMore();
    void on_sent(GInputStream* body, const GErrorPtr& error);
    void on_read(GBytes* bytes, const GErrorPtr& error);
    void takeHeaders();
    bool isEncoded() const;
    bool hasWholeBody();
    void fail(const QString& error);
    void finish();
    void abort();

    static void on_soup_sent(GObject* session, GAsyncResult* result, void* self);
    static void on_gio_read(GObject* stream, GAsyncResult* result, void* self);

    GObjectPtr<SoupSession> m_session;
    HttpClientOptions m_options;
    HttpClient::Callback m_callback;
    GObjectPtr<SoupMessage> m_message;
    GObjectPtr<GCancellable> m_cancellable;
    GObjectPtr<GInputStream> m_body;
    HttpClient::Result m_result;
    bool m_complete = false;
    QTimer m_timeout;
};
