// The page's files, which are part of the program.

#include "service/routes/Handlers.h"

#include <QFile>
#include <QFileInfo>

#include <array>
#include <unordered_map>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

struct Kind {
    QStringView ending;
    const char *type;
};

constexpr std::array KINDS = {Kind{u"html", "text/html; charset=utf-8"},
                              Kind{u"js", "text/javascript; charset=utf-8"},
                              Kind{u"mjs", "text/javascript; charset=utf-8"},
                              Kind{u"css", "text/css; charset=utf-8"},
                              Kind{u"svg", "image/svg+xml"},
                              Kind{u"png", "image/png"},
                              Kind{u"webmanifest", "application/manifest+json"},
                              Kind{u"json", "application/json"}};

QByteArray typeOf(const QString &path) {
    const auto ending = QFileInfo(path).suffix();
    const auto *kind = std::ranges::find(KINDS, QStringView(ending), &Kind::ending);
    return kind == KINDS.end() ? "application/octet-stream" : kind->type;
}

struct PageFile {
    QByteArray type;
    QByteArray bytes;
    QByteArray tag;
    QByteArray deflated; // empty where that is no smaller
};

// Lines of comments are not sent. They are left empty, so that the line of an error is that of the source.
QByteArray withoutComments(const QByteArray &source) {
    auto lines = source.split('\n');
    bool inside = false;
    for (auto &line : lines) {
        const auto words = line.trimmed();
        const bool block = inside || words.startsWith("/**");
        const bool wholly = block ? !words.contains("*/") || words.endsWith("*/") : words.startsWith("//");
        inside = block && !words.contains("*/");
        if (wholly)
            line.clear();
    }
    return lines.join('\n');
}

// qCompress() puts the size before what a browser knows as "deflate".
QByteArray deflated(const QByteArray &bytes) {
    constexpr int BEST = 9;
    const auto small = qCompress(bytes, BEST).sliced(sizeof(quint32));
    return small.size() < bytes.size() ? small : QByteArray();
}

// Made when it is first asked for; nullptr when there is none.
const PageFile *pageFile(const QString &path) {
    static std::unordered_map<QString, PageFile> files;
    if (const auto found = files.find(path); found != files.end())
        return &found->second;
    QFile file(u":/web/"_s + path);
    if (path.contains(".."_L1) || !file.open(QFile::ReadOnly))
        return nullptr;
    const auto bytes = path.endsWith(".js"_L1) ? withoutComments(file.readAll()) : file.readAll();
    return &files.emplace(path, PageFile{typeOf(path), bytes, keptOf(bytes).first(16).toHex(), deflated(bytes)})
                .first->second;
}

Response file(const QString &path, const Request &request, int status = 200) {
    const auto *page = pageFile(path);
    if (!page)
        return refuse(Refusal::notFound, u"There is nothing at this address."_s);
    const bool small = !page->deflated.isEmpty() && request.header("accept-encoding").contains("deflate");
    const auto tag = '"' + page->tag + (small ? "-d\"" : "\"");
    NameValues headers = {{"ETag", tag}, {"Cache-Control", "no-cache"}, {"Vary", "Accept-Encoding"}};
    if (status == 200 && request.header("if-none-match") == tag)
        return {.status = 304, .headers = headers};
    if (small)
        headers.emplace_back("Content-Encoding", "deflate");
    return {.status = status, .type = page->type, .body = small ? page->deflated : page->bytes, .headers = headers};
}

} // namespace

// One page, whatever it shows.
Task<Response> showPageFile(Service & /*service*/, Asked asked) {
    co_return file(u"index.html"_s, asked.request);
}

Task<Response> showFile(Service & /*service*/, Asked asked) {
    co_return file(asked.id, asked.request);
}

Response nothingOnPage(const Request &request) {
    return file(u"index.html"_s, request, 404);
}

} // namespace ombru
