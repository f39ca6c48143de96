#include "tests/support/ModelService.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QStringList>
#include <QTcpServer>
#include <QTcpSocket>

namespace ombru::test {
namespace {

using namespace Qt::StringLiterals;
using Kind = ModelAnswer::Kind;

QByteArray jsonOf(const QJsonObject &object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QByteArray event(const QString &type, QJsonObject data) {
    data.insert(u"type"_s, type);
    return "event: " + type.toUtf8() + "\ndata: " + jsonOf(data) + "\n\n";
}

QByteArray response(int status, const QByteArray &type, const QByteArray &body) {
    return "HTTP/1.1 " + QByteArray::number(status) + " -\r\nContent-Type: " + type +
           "\r\nConnection: close\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

QByteArray refusal(int status, const QString &type, const QString &message) {
    const QJsonObject error{{u"type"_s, type}, {u"message"_s, message}};
    return response(status, "application/json", jsonOf({{u"type"_s, u"error"_s}, {u"error"_s, error}}));
}

QJsonObject usage() {
    return {{u"input_tokens"_s, 1}, {u"output_tokens"_s, 1}};
}

// The tool takes messages of the same id for one.
QByteArray start(const QString &model, qsizetype number) {
    const QJsonObject message{{u"id"_s, u"msg_%1"_s.arg(number)}, {u"type"_s, u"message"_s},
                              {u"role"_s, u"assistant"_s},        {u"model"_s, model},
                              {u"content"_s, QJsonArray()},       {u"stop_reason"_s, QJsonValue()},
                              {u"stop_sequence"_s, QJsonValue()}, {u"usage"_s, usage()}};
    return event(u"message_start"_s, {{u"message"_s, message}});
}

QByteArray block(const ModelAnswer &answer, qsizetype number) {
    const bool reads = answer.kind == Kind::Read;
    const QJsonObject empty = reads ? QJsonObject{{u"type"_s, u"tool_use"_s},
                                                  {u"id"_s, u"toolu_%1"_s.arg(number)},
                                                  {u"name"_s, u"Read"_s},
                                                  {u"input"_s, QJsonObject()}}
                                    : QJsonObject{{u"type"_s, u"text"_s}, {u"text"_s, QString()}};
    const auto input = QString::fromUtf8(jsonOf({{u"file_path"_s, answer.text}}));
    const QJsonObject delta = reads ? QJsonObject{{u"type"_s, u"input_json_delta"_s}, {u"partial_json"_s, input}}
                                    : QJsonObject{{u"type"_s, u"text_delta"_s}, {u"text"_s, answer.text}};
    return event(u"content_block_start"_s, {{u"index"_s, 0}, {u"content_block"_s, empty}}) +
           event(u"content_block_delta"_s, {{u"index"_s, 0}, {u"delta"_s, delta}});
}

QByteArray end(const ModelAnswer &answer) {
    const QJsonObject delta{{u"stop_reason"_s, answer.kind == Kind::Read ? u"tool_use"_s : u"end_turn"_s},
                            {u"stop_sequence"_s, QJsonValue()}};
    return event(u"content_block_stop"_s, {{u"index"_s, 0}}) +
           event(u"message_delta"_s, {{u"delta"_s, delta}, {u"usage"_s, usage()}}) + event(u"message_stop"_s, {});
}

QByteArray streamOf(const ModelAnswer &answer, const QString &model, qsizetype number) {
    const QByteArray head = "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nConnection: close\r\n\r\n";
    const auto begun = head + start(model, number) + block(answer, number);
    return answer.kind == Kind::Drop ? begun : begun + end(answer);
}

qsizetype contentLength(const QByteArray &head) {
    for (const auto &line : head.split('\n'))
        if (line.toLower().startsWith("content-length:"))
            return line.mid(15).trimmed().toLongLong();
    return 0;
}

QJsonArray contentOf(const QJsonValue &content) {
    if (content.isString())
        return {QJsonObject{{u"type"_s, u"text"_s}, {u"text"_s, content}}};
    return content.toArray();
}

QJsonArray blocksOf(const QJsonArray &content, const QString &type) {
    QJsonArray found;
    for (const auto &part : content)
        if (part[u"type"].toString() == type)
            found.append(part);
    return found;
}

QString textOf(const QJsonArray &content) {
    QStringList texts;
    for (const auto &part : blocksOf(content, u"text"_s))
        texts.append(part[u"text"].toString());
    return texts.join(u'\n');
}

// Of the user's own messages, the last.
QJsonArray lastContent(const QJsonObject &body) {
    const auto messages = body[u"messages"].toArray();
    for (auto message = messages.end(); message-- != messages.begin();)
        if ((*message)[u"role"].toString() == u"user"_s)
            return contentOf((*message)[u"content"]);
    return {};
}

QJsonArray images(const QJsonObject &body) {
    QJsonArray found;
    for (const auto &result : blocksOf(lastContent(body), u"tool_result"_s))
        for (const auto &image : blocksOf(contentOf(result[u"content"]), u"image"_s))
            found.append(image);
    return found;
}

} // namespace

QString ModelRequest::lastUserText() const {
    return textOf(lastContent(body));
}

QStringList ModelRequest::toolNames() const {
    QStringList names;
    for (const auto &tool : body[u"tools"].toArray())
        names.append(tool[u"name"].toString());
    return names;
}

QString ModelRequest::systemText() const {
    return textOf(contentOf(body[u"system"]));
}

QStringList ModelRequest::imageTypes() const {
    QStringList types;
    for (const auto &image : images(body))
        types.append(image[u"source"][u"media_type"].toString());
    return types;
}

QByteArray ModelRequest::lastImage() const {
    const auto all = images(body);
    return all.isEmpty() ? QByteArray() : QByteArray::fromBase64(all.last()[u"source"][u"data"].toString().toLatin1());
}

bool ModelRequest::hasToolResult() const {
    return !blocksOf(lastContent(body), u"tool_result"_s).isEmpty();
}

int ModelRequest::userMessages() const {
    int count = 0;
    for (const auto &message : body[u"messages"].toArray())
        if (message[u"role"].toString() == u"user"_s &&
            blocksOf(contentOf(message[u"content"]), u"tool_result"_s).isEmpty())
            ++count;
    return count;
}

ModelService::ModelService(Model model) : m_model(std::move(model)), m_server(std::make_unique<QTcpServer>()) {
    if (!m_server->listen(QHostAddress::LocalHost))
        qFatal("the model service cannot listen: %s", qUtf8Printable(m_server->errorString()));
    QObject::connect(m_server.get(), &QTcpServer::newConnection, m_server.get(), [this] { accept(); });
}

ModelService::~ModelService() = default;

QString ModelService::url() const {
    return u"http://127.0.0.1:%1"_s.arg(m_server->serverPort());
}

void ModelService::accept() {
    while (auto *socket = m_server->nextPendingConnection()) {
        QObject::connect(socket, &QTcpSocket::readyRead, m_server.get(), [this, socket] { read(socket); });
        QObject::connect(socket, &QTcpSocket::disconnected, m_server.get(), [this, socket] {
            m_received.remove(socket);
            socket->deleteLater();
        });
    }
}

void ModelService::read(QTcpSocket *socket) {
    auto &received = m_received[socket];
    received += socket->readAll();
    const auto headEnd = received.indexOf("\r\n\r\n");
    if (headEnd < 0)
        return;
    const auto head = received.first(headEnd);
    const auto body = received.sliced(headEnd + 4);
    if (body.size() < contentLength(head))
        return;
    received.clear();
    answer(socket, head, body);
    socket->disconnectFromHost();
}

void ModelService::answer(QTcpSocket *socket, const QByteArray &head, const QByteArray &body) {
    if (!head.startsWith("POST /v1/messages")) {
        socket->write(refusal(404, u"not_found_error"_s, u"Not found"_s));
        return;
    }
    if (head.startsWith("POST /v1/messages/count_tokens")) {
        socket->write(response(200, "application/json", jsonOf({{u"input_tokens"_s, 1}})));
        return;
    }
    const ModelRequest request{QJsonDocument::fromJson(body).object()};
    m_requests.append(request);
    const auto said = m_model(request);
    if (said.kind == Kind::Refuse)
        socket->write(refusal(said.status, said.errorType, said.text));
    else
        socket->write(streamOf(said, request.body[u"model"].toString(), m_requests.size()));
}

} // namespace ombru::test
