// A stand-in for the model's HTTP service on the loopback: the streaming Messages API as far as the `claude` tool
// speaks it. The test says what the model answers. Main thread; ends with the object.
#pragma once
#include <QByteArray>
#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QString>

#include <functional>
#include <memory>

class QTcpServer;
class QTcpSocket;

namespace ombru::test {

// One thing the model does.
struct ModelAnswer {
    enum class Kind {
        Say,    // a text
        Read,   // asks for the Read tool with a path
        Refuse, // an HTTP error
        Drop,   // begins to stream, then closes the connection
    };
    Kind kind = Kind::Say;
    QString text; // what it says; the path; the error's message
    int status = 200;
    QString errorType;
};

// What the tool sent, as far as it matters here.
struct ModelRequest {
    QJsonObject body;

    QString lastUserText() const;  // all text of the last message of the user
    QStringList toolNames() const; // that the model may use
    QString systemText() const;
    QStringList imageTypes() const; // media types of the pictures in the last message's tool results
    QByteArray lastImage() const;   // decoded
    bool hasToolResult() const;     // in the last message
    int userMessages() const;       // in the whole conversation, tool results left out
};

class ModelService {
public:
    using Model = std::function<ModelAnswer(const ModelRequest &)>;

    explicit ModelService(Model model);
    ~ModelService();
    ModelService(const ModelService &) = delete;
    ModelService &operator=(const ModelService &) = delete;

    QString url() const; // for ANTHROPIC_BASE_URL
    const QList<ModelRequest> &requests() const { return m_requests; }

private:
    void accept();
    void read(QTcpSocket *socket);
    void answer(QTcpSocket *socket, const QByteArray &head, const QByteArray &body);

    Model m_model;
    std::unique_ptr<QTcpServer> m_server;
    QHash<QTcpSocket *, QByteArray> m_received;
    QList<ModelRequest> m_requests;
};

} // namespace ombru::test
