// SPDX-License-Identifier: MIT
#include "core/plixnamedpipe.h"

#include <QFile>
#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Prevents SIGPIPE for a write to a FIFO without a reader. It changes only the signal mask of the
// calling thread, and only during the write, because the signal handlers belong to the host.
class SigpipeBlocker {
public:
    SigpipeBlocker() {
        sigemptyset(&m_sigpipe);
        sigaddset(&m_sigpipe, SIGPIPE);
        sigset_t pending;
        sigpending(&pending);
        m_wasPending = sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &m_sigpipe, &m_previous);
    }
    ~SigpipeBlocker() { pthread_sigmask(SIG_SETMASK, &m_previous, nullptr); }
    SigpipeBlocker(const SigpipeBlocker&) = delete;
    SigpipeBlocker& operator=(const SigpipeBlocker&) = delete;

    // Removes the pending signal that a write has raised.
    void consume() const {
        const timespec atOnce{};
        while (!m_wasPending && sigtimedwait(&m_sigpipe, nullptr, &atOnce) < 0 && errno == EINTR) {
        }
    }

private:
    sigset_t m_sigpipe;
    sigset_t m_previous;
    bool m_wasPending;
};

template <typename Call>
auto uninterrupted(Call call) {
    decltype(call()) result;
    do {
        result = call();
    } while (result < 0 && errno == EINTR);
    return result;
}

void closeDescriptor(int& descriptor) {
    if (descriptor >= 0)
        ::close(descriptor);
    descriptor = -1;
}

bool isFifo(int descriptor) {
    struct stat status;
    return fstat(descriptor, &status) == 0 && S_ISFIFO(status.st_mode);
}

// Reads how the process handles the signal and changes nothing: a null action only asks. A host
// that ignores it, as GIO makes it do with its first GSocket, needs no blocking around each write.
bool isSigpipeIgnored() {
    struct sigaction action {};
    return sigaction(SIGPIPE, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

bool setDescriptorBlocking(int descriptor) {
    const int flags = fcntl(descriptor, F_GETFL);
    return flags >= 0 && fcntl(descriptor, F_SETFL, flags & ~O_NONBLOCK) == 0;
}

} // namespace

void PlixNamedPipe::NotifierDeleter::operator()(QSocketNotifier* notifier) const {
    notifier->setEnabled(false);
    notifier->deleteLater();
}

PlixNamedPipe::PlixNamedPipe(const QString& name, int mode, QObject* parent, bool owner)
    : QObject(parent), m_name(name), m_mode(mode), m_owner(owner) {}

PlixNamedPipe::~PlixNamedPipe() {
    destroy();
}

bool PlixNamedPipe::create() {
    if (!m_owner) {
        errno = EPERM;
        return false;
    }
    if (mkfifo(QFile::encodeName(m_name).constData(), S_IRUSR | S_IWUSR) != 0)
        return false;
    m_created = true;
    return true;
}

bool PlixNamedPipe::open(bool keepOpen) {
    if (isOpen())
        return true;
    if (!openDescriptor())
        return false;
    if (m_mode != Read || !keepOpen)
        return true;
    const QByteArray name = QFile::encodeName(m_name);
    m_keptOpen =
        uninterrupted([&] { return ::open(name.constData(), O_WRONLY | O_NONBLOCK | O_CLOEXEC); });
    if (m_keptOpen >= 0)
        return true;
    const int error = errno;
    close();
    errno = error;
    return false;
}

bool PlixNamedPipe::openDescriptor() {
    // A blocking open of a reading end would block the event loop until there is a writer.
    const bool nonBlock = m_mode == Read || m_nonBlock;
    // A symbolic link that has replaced the FIFO of this object is not followed.
    const int flags = (m_mode == Read ? O_RDONLY : O_WRONLY) | (nonBlock ? O_NONBLOCK : 0) |
                      (m_owner ? O_NOFOLLOW : 0) | O_CLOEXEC;
    const QByteArray name = QFile::encodeName(m_name);
    m_descriptor = uninterrupted([&] { return ::open(name.constData(), flags); });
    if (m_descriptor < 0)
        return false;
    m_isSigpipeIgnored = isSigpipeIgnored();
    const bool isUsable =
        isFifo(m_descriptor) && (nonBlock == m_nonBlock || setDescriptorBlocking(m_descriptor));
    if (isUsable)
        return true;
    close();
    errno = EINVAL;
    return false;
}

qint64 PlixNamedPipe::write(const char* data, int length) {
    const auto writeOnce = [&] {
        return uninterrupted(
            [&] { return ::write(m_descriptor, data, static_cast<size_t>(length)); });
    };
    if (m_isSigpipeIgnored)
        return writeOnce();
    const SigpipeBlocker blocker;
    const ssize_t written = writeOnce();
    if (written < 0 && errno == EPIPE) {
        blocker.consume();
        errno = EPIPE;
    }
    return written;
}

qint64 PlixNamedPipe::read(char* data, int length) {
    return uninterrupted([&] { return ::read(m_descriptor, data, static_cast<size_t>(length)); });
}

QSocketNotifier* PlixNamedPipe::readNotifier() {
    return m_mode == Read ? notifier(QSocketNotifier::Read) : nullptr;
}

QSocketNotifier* PlixNamedPipe::writeNotifier() {
    return m_mode == Write ? notifier(QSocketNotifier::Write) : nullptr;
}

QSocketNotifier* PlixNamedPipe::notifier(int type) {
    if (isOpen() && !m_notifier) {
        // Without a parent, because it may outlive the pipe by one turn of the event loop.
        m_notifier.reset(
            new QSocketNotifier(m_descriptor, static_cast<QSocketNotifier::Type>(type)));
        m_notifier->setEnabled(false);
    }
    return m_notifier.get();
}

void PlixNamedPipe::close() {
    m_notifier.reset();
    closeDescriptor(m_descriptor);
    closeDescriptor(m_keptOpen);
}

void PlixNamedPipe::destroy() {
    close();
    if (m_created)
        ::unlink(QFile::encodeName(m_name).constData());
    m_created = false;
}
