// SPDX-License-Identifier: MIT
#pragma once

#include <QFileInfo>
#include <QString>

// Which file a name means, and whether a client may see it. Asks the file system; opens and sends
// nothing.
struct FileLookup {
    enum Result { Found, Redirect, Missing, Forbidden };

    Result result;
    // The file in question: of a folder its index page.
    QFileInfo file;
    // Of a file that was found: the name to open, which is the one that was compared with the
    // document root.
    QString canonicalName;
    // Of a redirect: the path of the URL to go to.
    QString location;
    // Why a file counts as missing, for the log.
    const char* reason;

    // `documentRoot`: compared with the canonical name; an empty one allows every file.
    // `rootPage`: the page to which the document root is redirected, none when empty.
    // `urlPath`: the decoded path of the request's URL, which redirects continue.
    static FileLookup find(const QFileInfo& file, const QString& documentRoot,
                           const QString& rootPage, const QString& urlPath);
};
