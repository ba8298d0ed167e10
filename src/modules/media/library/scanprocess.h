// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QQueue>
#include <QTimer>
#include <QVariantHash>

#include <memory>

class QProcess;

// Reads audio files through the program plix-media-scan, one process for many files. A file that
// makes the process crash, or that it does not answer in time, costs that process, and the next one
// goes on with the next file.
class ScanProcess : public QObject {
    Q_OBJECT

public:
    // A disk that spins up takes ten seconds.
    static constexpr int defaultDeadlineMs = 20000;

    explicit ScanProcess(const QString& program, int deadlineMs = defaultDeadlineMs,
                         QObject* parent = nullptr);
    ~ScanProcess() override;

    // Absolute. Answered in the order of the calls.
    void read(const QByteArray& fileName);
    // There will be no answers for the files so far.
    void cancel();
    int pending() const { return m_waiting.size() + m_sent.size(); }

Q_SIGNALS:
    // What the program has printed of the file.
    void answered(const QByteArray& fileName, const QVariantHash& record);
    // The file must not be read again.
    void died(const QByteArray& fileName, const QString& reason);
    // The program cannot be used at all. Nothing is pending any more.
    void broken(const QString& reason);

private Q_SLOTS:
    void on_process_readyReadStandardOutput();
    void on_process_finished();
    void on_deadline_timeout();
    void on_idle_timeout();

private:
    void send();
    void start();
    void take(const QByteArray& line);
    void end();
    void endProcess();
    void giveUp(const QString& reason);

    QString m_program;
    std::unique_ptr<QProcess> m_process;
    bool m_isReady = false;
    bool m_isLate = false;
    QQueue<QByteArray> m_waiting;
    // To the process, which answers in this order.
    QQueue<QByteArray> m_sent;
    QTimer m_deadline;
    QTimer m_idle;
};
