#include "shell/QmHandOver.h"

#include "core/QmPaths.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>
#include <QPointer>
#include <QTimer>

namespace QmHandOver {

namespace {

QPointer<QLocalServer> s_server;

// A path is one line of UTF-8; the answer "OK" says it was taken.
constexpr char kTaken[] = "OK\n";
constexpr int kLongestLine = 64 * 1024;

void Serve(QLocalSocket* socket, const std::function<void(const QString&)>& open)
{
    QObject::connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
    QObject::connect(socket, &QLocalSocket::readyRead, socket, [socket, open] {
        if (!socket->canReadLine()) {
            if (socket->bytesAvailable() > kLongestLine)
                socket->abort(); // no path is that long
            return;
        }
        const QString path = QString::fromUtf8(socket->readLine()).chopped(1);
        socket->write(kTaken);
        socket->flush();
        socket->disconnectFromServer();
        if (!path.isEmpty())
            QTimer::singleShot(0, qApp, [open, path] { open(path); });
    });
}

} // namespace

QString ServerName()
{
    return QmPaths::RuntimeFolder() + QStringLiteral("/quillmont.socket");
}

bool Listen(std::function<void(const QString&)> open)
{
    Stop();
    auto* server = new QLocalServer(qApp);
    server->setSocketOptions(QLocalServer::UserAccessOption);
    // Whoever listens holds the single-instance lock: a socket left by a Quillmont that
    // died is gone for good.
    QLocalServer::removeServer(ServerName());
    if (!server->listen(ServerName())) {
        delete server;
        return false;
    }
    QObject::connect(server, &QLocalServer::newConnection, server, [server, open] {
        while (QLocalSocket* socket = server->nextPendingConnection())
            Serve(socket, open);
    });
    s_server = server;
    return true;
}

void Stop()
{
    delete s_server.data();
}

bool Send(const QString& path, int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    QLocalSocket socket;
    socket.connectToServer(ServerName());
    if (!socket.waitForConnected(timeoutMs))
        return false;
    socket.write(path.toUtf8() + '\n');
    if (!socket.waitForBytesWritten(timeoutMs))
        return false;
    QByteArray answer;
    while (!answer.contains('\n')) {
        const int left = timeoutMs - static_cast<int>(timer.elapsed());
        if (left <= 0 || !socket.waitForReadyRead(left))
            break;
        answer += socket.readAll();
    }
    return answer == kTaken;
}

QString PathOfCommandLine(const QString& commandLine)
{
    QString path = commandLine.trimmed();
    if (path.startsWith(u'"') && path.endsWith(u'"') && path.size() >= 2)
        path = path.mid(1, path.size() - 2).trimmed();
    if (path.isEmpty() || path == u"%1")
        return QString();
    return QFileInfo(path).absoluteFilePath();
}

} // namespace QmHandOver
