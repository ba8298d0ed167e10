#pragma once

#include "rawclient.h"

// A multipart body of parts without names, and the header line that announces it.
inline QByteArray multipartBody(const QByteArrayList& contents) {
    QByteArray body;
    for (const QByteArray& content : contents)
        body += "--XyZ\r\nA: b\r\n\r\n" + content + "\r\n";
    return body + "--XyZ--\r\n";
}

inline const QByteArray multipartType = "Content-Type: multipart/form-data; boundary=XyZ\r\n";
