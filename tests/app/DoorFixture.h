// The application's door with a controller behind it, and clients that come through it, all in this process.
#pragma once
#include "app/resident/ControlDoor.h"
#include "tests/controller/LinkFixture.h"
#include "tests/support/Processes.h"

#include <QLocalSocket>

namespace ombru::test {

class DoorFixture : public LinkFixture {
protected:
    DoorFixture() {
        EXPECT_TRUE(QFile::rename(CLAUDE + u".away"_s, CLAUDE));
        EXPECT_TRUE(door.open(path));
    }
    ~DoorFixture() override {
        await(state->drain());
        await(door.end());
    }

    struct Client {
        explicit Client(const QString &path) {
            QObject::connect(&socket, &QLocalSocket::readyRead, &socket, [this] { take(); });
            socket.connectToServer(path);
            EXPECT_TRUE(socket.waitForConnected(GUARD_MILLISECONDS));
        }
        void take() {
            while (socket.canReadLine()) {
                const auto line = socket.readLine();
                bytes += line.size();
                lines.append(QJsonDocument::fromJson(line).object());
            }
        }
        void write(const QByteArray &given) { socket.write(given); }
        void ask(const QJsonObject &request) { write(QJsonDocument(request).toJson(QJsonDocument::Compact) + '\n'); }
        // The exit status; waits for it.
        int end() {
            EXPECT_TRUE(waitUntil([this] { return !lines.isEmpty() && lines.last().contains(u"exit"_s); }));
            return lines.isEmpty() ? -1 : lines.last()[u"exit"_s].toInt(-1);
        }
        QStringList all(const QString &key) const {
            QStringList found;
            for (const auto &line : lines) {
                if (line.contains(key))
                    found += line[key].toString();
            }
            return found;
        }
        bool hears(const QString &text) {
            return waitUntil([&] { return all(u"text"_s).contains(text); });
        }
        QJsonObject report() const {
            const auto found = std::ranges::find_if(lines, [](const auto &line) { return line.contains(u"ended"_s); });
            return found == lines.end() ? QJsonObject() : (*found)[u"ended"_s].toObject();
        }
        QLocalSocket socket;
        QList<QJsonObject> lines;
        qint64 bytes = 0;
    };

    std::unique_ptr<Client> client() const { return std::make_unique<Client>(path); }
    std::unique_ptr<Client> asks(const QJsonObject &request) const {
        auto made = client();
        made->ask(request);
        return made;
    }
    static QJsonObject run(const QString &task) { return {{u"do"_s, u"run"_s}, {u"task"_s, task}}; }
    static QJsonObject verb(const QString &name) { return {{u"do"_s, name}}; }

    // Claude works until it is ended.
    void hang() { claude.playAlways("echo $$ >\"$HOME/claude.pid\"; exec sleep 1000"); }
    qint64 claudePid() const { return pidIn(home.filePath(u"claude.pid"_s)); }

    const QString path = home.filePath(u"application"_s);
    ControlDoor door{*state};
};

} // namespace ombru::test
