// SPDX-License-Identifier: MIT

// responders/page/: Template pages (`*.fcgi`).
#pragma once

#include "core/model/cmreply.h"
#include "responders/page/pagecache.h"
#include "responders/responder.h"

#include <QBasicTimer>
#include <QHash>
#include <QString>

// Answers a request with a template page: the text of the file, with each instruction (see
// pagetemplate.h) replaced by its output. The instructions run one after another, because one may
// read what an earlier one has written. Finished text is sent while a reply is awaited.
class PageResponder : public Responder {
    Q_OBJECT

public:
    PageResponder(Request& request, const QString& documentRoot, QObject* parent = nullptr);

    void respond() override;
    bool respondWillBlock() override { return false; }

protected:
    // Sends the finished text while a reply is awaited.
    void timerEvent(QTimerEvent* event) override;

private Q_SLOTS:
    void on_getData_finished(const CMVoidReply& reply);
    void on_getRows_finished(const CMVoidReply& reply);
    void on_setData_finished(const CMVoidReply& reply);

private:
    QString getFileName() const;
    bool isInsideDocumentRoot(const QString& fileName) const;
    void processFile(const QString& fileName);
    void processPage(const PageCache::PagePtr& page);
    void refuse(int status, const QString& text);

    // Processes parts until the page is complete or a reply has to be awaited.
    void processChunk();
    void processNextPart();
    // These write the output of a command, or set m_isWaiting and send a request. Its reply, which
    // may arrive before they return, completes the command.
    void processCommand(const PageTemplate::Page::Part& part);
    void executeCommand(const PageTemplate::Page::Part& part);
    void executeGetData(const PageTemplate::Page::Part& part);
    void executeSetData();
    void substituteFormFields();
    void finishCommand(const QString& output);

    // Any other mode than "none" and "js" means HTML.
    QString escapeString(const QString& value, const QString& mode) const;
    QString escaped(const QString& value) const;
    bool hasParam(const QString& name) const { return m_params.contains(name); }
    QString param(const QString& name) const { return m_params.value(name); }
    bool isOver() const;

    PageCache::PagePtr m_page;
    QHash<QString, QString> m_params;
    // The index of the next part of the page.
    int m_position = 0;
    bool m_isProcessing = false;
    bool m_isWaiting = false;
    bool m_isComplete = false;
    QBasicTimer m_flushTimer;
};
