// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QHash>
#include <QObject>
#include <QQueue>
#include <QSet>

#include <functional>

class QProcess;

// Covers as files, made from pictures of the library by the program plix-media-scan when they are
// asked for first, and kept within a limit.
class CoverCache : public QObject {
    Q_OBJECT

public:
    // The covers of some thousand albums in the sizes that pages use.
    static constexpr qint64 maximumBytes = qint64(64) << 20;
    // The device has other things to do beside.
    static constexpr int maximumProcesses = 2;
    static constexpr int maximumSize = 512;
    // A picture that takes longer is refused.
    static constexpr int deadlineMs = 15000;

    CoverCache(const QString& folder, const QString& program, QObject* parent = nullptr);
    ~CoverCache() override;

    // The size that is made for one that was asked for: covers are made in a few sizes only, so
    // that clients cannot fill the cache with others. 0, for the picture as it is, stays 0.
    static int sizeFor(int wanted);

    // The name of a file with the cover; null when the picture cannot be read.
    using Done = std::function<void(const QString& fileName)>;
    // `hash` names the picture, `source` is the absolute path of the file that it is in. Called at
    // once when the cover is there, and not after the end of this object.
    void get(const QByteArray& hash, int size, const QByteArray& source, const Done& done);

private:
    struct Job {
        QString fileName;
        QByteArray source;
        int size;
    };

    void startNext();
    void start(const Job& job);
    void on_process_ended(QProcess* process, const QString& fileName, bool isGood);
    void trim();

    QString m_folder;
    QString m_program;
    // Of the cache; negative until it has been looked at.
    qint64 m_bytes = -1;
    QQueue<Job> m_jobs;
    QHash<QString, QVector<Done>> m_waiting;
    // Names of covers that cannot be made, no more than there are pictures.
    QSet<QString> m_failed;
    int m_running = 0;
};
