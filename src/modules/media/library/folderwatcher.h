// SPDX-License-Identifier: MIT
#pragma once

#include <QHash>
#include <QObject>

#include <memory>

class QSocketNotifier;

// Tells in which folders of the library something has changed, through inotify. It tells nothing of
// what other machines do to a share.
class FolderWatcher : public QObject {
    Q_OBJECT

public:
    explicit FolderWatcher(QObject* parent = nullptr);
    ~FolderWatcher() override;

    // Forgets all folders.
    void setRoot(const QByteArray& root);
    // The folder only, not those in it. Watching it again does nothing. False when the system
    // allows no further folders.
    bool watch(const QByteArray& folder);
    bool isWatched(const QByteArray& folder) const { return m_watches.contains(folder); }

Q_SIGNALS:
    // Relative to the root.
    void folderChanged(const QByteArray& folder);
    // Anything may have changed.
    void changesLost();

private Q_SLOTS:
    void on_notifier_activated();

private:
    void handle(int watch, quint32 mask, const QByteArray& name);
    void forgetBelow(const QByteArray& folder);

    QByteArray m_root;
    int m_inotify = -1;
    std::unique_ptr<QSocketNotifier> m_notifier;
    QHash<int, QByteArray> m_folders;
    QHash<QByteArray, int> m_watches;
};
