#include "net/HttpHead.h"

#include "tests/support/Wait.h"

#include <QUrl>
#include <QUrlQuery>

using namespace ombru;
using namespace Qt::StringLiterals;
using State = HeadReader::State;

TEST(HttpHead, TheTargetIsTheSecondPieceOfTheFirstLine) {
    EXPECT_EQ(parseHead("GET /media HTTP/1.1").path, u"/media"_s);
    EXPECT_EQ(parseHead("  nonsense    /media ").path, u"/media"_s);
    EXPECT_EQ(parseHead("GET http://host:1/media?a=b HTTP/1.1").path, u"/media"_s);
    EXPECT_EQ(parseHead("GET /a%20b%2Fc#d HTTP/1.1").path, u"/a b/c"_s);
    EXPECT_EQ(parseHead("GET ?token=x HTTP/1.1").path, u""_s);
}

TEST(HttpHead, WithoutATargetThePathIsTheRoot) {
    EXPECT_EQ(parseHead("").path, u"/"_s);
    EXPECT_EQ(parseHead("GET").path, u"/"_s);
    EXPECT_EQ(parseHead("\r\nGET /media HTTP/1.1").path, u"/"_s);
    EXPECT_EQ(parseHead("GET http://[nowhere/media HTTP/1.1").path, u"/"_s) << "one that is no address";
}

TEST(HttpHead, QueryItemsKeepTheirOrderAndAreDecoded) {
    const auto head = parseHead("GET /media?token=a%20b+c&token=second&empty&Token=other&x=1=2 HTTP/1.1");
    EXPECT_EQ(head.queryItem(u"token"_s), u"a b+c"_s);
    EXPECT_EQ(head.queryItem(u"empty"_s), u""_s);
    EXPECT_EQ(head.queryItem(u"x"_s), u"1=2"_s);
    EXPECT_EQ(head.queryItem(u"none"_s), std::nullopt);
    EXPECT_EQ(head.query.size(), 5U);
}

TEST(HttpHead, ATargetIsReadAsTheFrameworkReadsIt) {
    for (const auto *target : {"/",
                               "/media",
                               "/media?",
                               "/media?token=x",
                               "/media?token=",
                               "/media?token",
                               "/?a&&b",
                               "/?&a=1&",
                               "/?&",
                               "/?=",
                               "/?a==b",
                               "/?a=b?c",
                               "/a/../b/./c",
                               "/a//b",
                               "//host/path",
                               "/~a-b_c.d?e/f=g",
                               "/a?token=x+y",
                               "/a:b",
                               "/a%41?b=%42",
                               "/a?b=c#d",
                               "a/b",
                               "?",
                               "/a;b",
                               "/\xC3\xA4?\xC3\xB6=\xC3\xBC",
                               "/a?[b]=c"}) {
        const QUrl url(QString::fromUtf8(target));
        std::vector<std::pair<QString, QString>> query;
        for (const auto &[name, value] : QUrlQuery(url).queryItems(QUrl::FullyDecoded))
            query.emplace_back(name, value);
        const auto head = parseHead(QByteArray("GET ") + target + " HTTP/1.1");
        EXPECT_EQ(head.path, url.path(QUrl::FullyDecoded)) << target;
        EXPECT_EQ(head.query, query) << target;
    }
}

TEST(HttpHead, TheLastOfSeveralHeadersWins) {
    const auto head = parseHead("GET / HTTP/1.1\r\nUpgrade: h2c\r\nUPGRADE:\t WebSocket \r\nHost: a:1");
    EXPECT_EQ(head.header(u"upgrade"_s), u"WebSocket"_s);
    EXPECT_EQ(head.header(u"host"_s), u"a:1"_s);
}

TEST(HttpHead, ANameIsWhatStandsBeforeTheColon) {
    const auto head = parseHead("GET / HTTP/1.1\r\nUpgrade : websocket\r\nnothing\r\n: unnamed");
    EXPECT_EQ(head.header(u"upgrade"_s), std::nullopt);
    EXPECT_EQ(head.header(u"upgrade "_s), u"websocket"_s);
    EXPECT_EQ(head.header(u""_s), u"unnamed"_s);
    EXPECT_EQ(head.headers.size(), 2);
}

TEST(HttpHead, OnlyBothCharactersEndALine) {
    const auto head = parseHead("GET / HTTP/1.1\nA: 1\rB: 2\r\nC: 3\nD: 4");
    EXPECT_EQ(head.headers.size(), 1);
    EXPECT_EQ(head.header(u"c"_s), u"3\nD: 4"_s);
}

TEST(HttpHead, WhatIsNotUtf8IsReplaced) {
    EXPECT_EQ(parseHead("GET / HTTP/1.1\r\nX: a\xFF"
                        "b")
                  .header(u"x"_s),
              u"a\uFFFDb"_s);
}

TEST(HttpHead, AHeadEndsWithTheEmptyLineHoweverItIsCut) {
    const QByteArray request = "GET / HTTP/1.1\r\nA: 1\r\n\r\nrest";
    for (qsizetype cut = 0; cut < request.size() - 4; ++cut) {
        HeadReader reader;
        EXPECT_EQ(reader.append(request.first(cut)), State::open) << cut;
        ASSERT_EQ(reader.append(request.sliced(cut)), State::whole) << cut;
        EXPECT_EQ(reader.head(), "GET / HTTP/1.1\r\nA: 1");
        EXPECT_EQ(reader.rest(), "rest");
    }
}

TEST(HttpHead, AnOpenHeadMayHave16384BytesAndNoMore) {
    HeadReader reader;
    EXPECT_EQ(reader.append(QByteArray(16'384, 'x')), State::open);
    EXPECT_EQ(reader.append("x"), State::tooLong);
}

TEST(HttpHead, AHeadWhoseEndIsThereMayBeLonger) {
    HeadReader reader;
    EXPECT_EQ(reader.append(QByteArray(16'384, 'x')), State::open);
    EXPECT_EQ(reader.append(QByteArray(20'000, 'y') + "\r\n\r\n"), State::whole);
    EXPECT_EQ(reader.head().size(), 36'384);
}
