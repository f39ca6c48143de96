#include "base/Background.h"
#include "tests/service/ServiceFixture.h"
#include "tests/support/Ceiling.h"
#include "tests/support/TcpPeer.h"

#include <future>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

const QByteArray JPEG = QByteArray("\xFF\xD8\xFF\xE0", 4) + "a picture";

class LiveTest : public ServiceFixture {
protected:
    void SetUp() override {
        start();
        browser = visitFirst();
        token = pair(browser);
        computer = firstComputer(browser);
        workshop = agent(token);
        ASSERT_TRUE(workshop->opens());
        EXPECT_FALSE(workshop->next(u"listen"_s)[u"on"_s].toBool(true)) << "nobody listens yet";
        workshop->send(toJson(HelloMessage{}));
        workshop->send(state(false));
    }

    // A page that watches the computer, and has caught up.
    std::unique_ptr<Line> watching(qint64 after = -1) {
        auto page = this->page(browser);
        page->next(u"computers"_s);
        page->send(watch(computer, after));
        page->next(u"caughtUp"_s);
        return page;
    }
    static QStringList textsOf(const QJsonObject &items) {
        QStringList texts;
        const auto all = items[u"items"_s].toArray();
        for (const auto &item : all)
            texts.append(item[u"text"_s].toString());
        return texts;
    }
    // Nothing is moved into the database until it ends.
    auto stall() {
        const auto end = std::make_shared<std::promise<void>>();
        server->store().post([stalled = end->get_future().share()](Store &) { stalled.wait(); });
        return std::shared_ptr<void>(nullptr, [end](void *) { end->set_value(); });
    }
    // So many items, in the order in which they came.
    static QJsonArray items(Line &page, qsizetype count) {
        QJsonArray all;
        while (all.size() < count) {
            const auto message = page.next(u"items"_s);
            if (message.isEmpty())
                break;
            const auto some = message[u"items"_s].toArray();
            for (const auto &item : some)
                all.append(item);
        }
        return all;
    }
    qint64 metric(const QByteArray &name) {
        const auto text = request("GET", u"/metrics"_s, {}).body;
        const auto at = text.indexOf('\n' + name + ' ') + name.size() + 2;
        return text.sliced(at, text.indexOf('\n', at) - at).toLongLong();
    }
    QJsonObject to(const QString &type, const QJsonObject &more = {}) const {
        QJsonObject message{{u"type"_s, type}, {u"computer"_s, computer}};
        for (auto each = more.begin(); each != more.end(); ++each)
            message[each.key()] = each.value();
        return message;
    }
    // The computer as the page is told of it, once `holds` is true of it.
    template <class Holds>
    static QJsonObject computerOnce(Line &page, Holds holds) {
        for (;;) {
            const auto message = page.next(u"computer"_s);
            const auto computer = message[u"computer"_s].toObject();
            if (message.isEmpty() || holds(computer))
                return computer;
        }
    }

    Browser browser;
    QByteArray token;
    QString computer;
    std::unique_ptr<Line> workshop;
};

TEST_F(LiveTest, APageSeesItsComputersFirst) {
    const auto page = this->page(browser);
    const auto shown = page->next(u"computers"_s)[u"computers"_s][0];
    EXPECT_EQ(shown[u"name"_s].toString(), u"workshop"_s);
    EXPECT_TRUE(shown[u"online"_s].toBool());
}

TEST_F(LiveTest, AnEventIsStoredAndShownWithItsNumber) {
    const auto page = watching();
    workshop->send(event(u"claude"_s, u"claude: looking"_s, 1234.5));
    const auto item = page->next(u"items"_s)[u"items"_s][0];
    EXPECT_EQ(item[u"number"_s].toInt(), 1);
    EXPECT_EQ(item[u"kind"_s].toString(), u"claude"_s);
    EXPECT_EQ(item[u"text"_s].toString(), u"claude: looking"_s);
    EXPECT_EQ(item[u"time"_s].toDouble(), 1234.5);
    EXPECT_TRUE(item[u"task"_s].isNull());
}

TEST_F(LiveTest, ATaskGoesToTheComputerAndIsAcceptedByItsEvent) {
    const auto page = watching();
    page->send(to(u"task"_s, {{u"text"_s, u"  open the editor\n"_s}}));
    EXPECT_EQ(workshop->next(u"task"_s)[u"text"_s].toString(), u"open the editor"_s);
    workshop->send(state(true));
    workshop->send(event(u"user"_s, u"web ❯ open the editor"_s));
    const auto item = page->next(u"items"_s)[u"items"_s][0];
    EXPECT_EQ(item[u"kind"_s].toString(), u"user"_s);
    EXPECT_FALSE(item[u"task"_s].isNull());
}

TEST_F(LiveTest, ATaskForAnAbsentComputerIsGivenBack) {
    const auto page = watching();
    workshop->drop();
    computerOnce(*page, [](const QJsonObject &its) { return !its[u"online"_s].toBool(); });
    page->send(to(u"task"_s, {{u"text"_s, u"anything"_s}}));
    const auto back = page->next(u"notAccepted"_s);
    EXPECT_EQ(back[u"why"_s].toString(), u"away"_s);
    EXPECT_EQ(back[u"text"_s].toString(), u"anything"_s);
}

TEST_F(LiveTest, ATaskForABusyComputerIsGivenBack) {
    const auto page = watching();
    workshop->send(state(true));
    computerOnce(*page, [](const QJsonObject &its) { return its[u"state"_s][u"busy"_s].toBool(); });
    page->send(to(u"task"_s, {{u"text"_s, u"another"_s}}));
    EXPECT_EQ(page->next(u"notAccepted"_s)[u"why"_s].toString(), u"busy"_s);
}

TEST_F(LiveTest, ATaskThatCrossesWithAnotherIsGivenBackWhenTheComputerSaysSo) {
    const auto page = watching();
    page->send(to(u"task"_s, {{u"text"_s, u"another"_s}}));
    workshop->next(u"task"_s);
    workshop->send(event(u"warn"_s, u"Still working on the last task — press Stop to cancel it."_s));
    EXPECT_EQ(page->next(u"notAccepted"_s)[u"why"_s].toString(), u"busy"_s);
}

TEST_F(LiveTest, ATaskIsGivenBackWhenTheChannelClosesBeforeItBegins) {
    const auto page = watching();
    page->send(to(u"task"_s, {{u"text"_s, u"another"_s}}));
    workshop->next(u"task"_s);
    workshop->drop();
    EXPECT_EQ(page->next(u"notAccepted"_s)[u"why"_s].toString(), u"gone"_s);
}

TEST_F(LiveTest, ATaskIsGivenBackWhenTheComputerSaysNothingForFifteenSeconds) {
    const auto page = watching();
    ManualClock clock;
    page->send(to(u"task"_s, {{u"text"_s, u"another"_s}}));
    workshop->next(u"task"_s);
    clock.advance(std::chrono::seconds(15));
    EXPECT_EQ(page->next(u"notAccepted"_s)[u"why"_s].toString(), u"timeout"_s);
}

TEST_F(LiveTest, StopGoesToTheComputer) {
    const auto page = watching();
    page->send(to(u"cancel"_s));
    EXPECT_FALSE(workshop->next(u"cancel"_s).isEmpty());
}

TEST_F(LiveTest, ListeningIsOnWhileAPageListens) {
    const auto one = watching();
    const auto other = watching();
    one->send(to(u"listen"_s, {{u"on"_s, true}}));
    EXPECT_TRUE(workshop->next(u"listen"_s)[u"on"_s].toBool());
    other->send(to(u"listen"_s, {{u"on"_s, true}}));
    computerOnce(*other, [](const QJsonObject &its) { return its[u"listening"_s].toBool(); });
    workshop->sendSound("sound");
    EXPECT_TRUE(waitUntil([&] { return one->sound == "sound"; }));
    one->drop();
    other->send(to(u"listen"_s, {{u"on"_s, false}}));
    EXPECT_FALSE(workshop->next(u"listen"_s)[u"on"_s].toBool());
}

TEST_F(LiveTest, AComputerThatComesBackIsToldThatAPageListens) {
    const auto page = watching();
    page->send(to(u"listen"_s, {{u"on"_s, true}}));
    workshop->next(u"listen"_s);
    workshop->drop();
    workshop = agent(token);
    EXPECT_TRUE(workshop->next(u"listen"_s)[u"on"_s].toBool());
}

TEST_F(LiveTest, AComputerThatComesBackIsToldThatNobodyListensAnyMore) {
    const auto page = watching();
    page->send(to(u"listen"_s, {{u"on"_s, true}}));
    EXPECT_TRUE(workshop->next(u"listen"_s)[u"on"_s].toBool());
    computerOnce(*page, [](const QJsonObject &its) { return its[u"listening"_s].toBool(); });
    workshop->drop();
    computerOnce(*page, [](const QJsonObject &its) { return !its[u"online"_s].toBool(); });
    page->send(to(u"listen"_s, {{u"on"_s, false}}));
    computerOnce(*page, [](const QJsonObject &its) { return !its[u"listening"_s].toBool(); });
    workshop = agent(token);
    EXPECT_FALSE(workshop->next(u"listen"_s)[u"on"_s].toBool(true));
}

TEST_F(LiveTest, ThePageCatchesUpByNumberWithoutAGapAndWithoutADouble) {
    const auto early = watching();
    for (int number = 1; number <= 450; ++number)
        workshop->send(event(u"result"_s, QString::number(number)));
    items(*early, 450);
    const auto page = this->page(browser);
    page->send(watch(computer, 120));
    for (int number = 451; number <= 900; ++number)
        workshop->send(event(u"result"_s, QString::number(number)));
    const auto all = items(*page, 780);
    ASSERT_EQ(all.size(), 780);
    for (qsizetype place = 0; place < all.size(); ++place)
        ASSERT_EQ(all[place][u"number"_s].toInt(), 121 + place);
}

TEST_F(LiveTest, NoPageWaitsForTheDatabase) {
    const auto early = watching();
    const auto page = this->page(browser);
    const auto stalled = stall();
    workshop->send(event(u"good"_s, u"one"_s));
    workshop->send(toJson(ScreenshotMessage{2, 50, JPEG}));
    items(*early, 2);
    page->send(watch(computer, 0));
    workshop->send(event(u"good"_s, u"three"_s));
    const auto all = items(*page, 3);
    for (qsizetype place = 0; place < all.size(); ++place)
        EXPECT_EQ(all[place][u"number"_s].toInt(), 1 + place);
}

TEST_F(LiveTest, APageCatchesUpWhileMuchIsMovedIntoTheDatabase) {
    const auto early = watching();
    workshop->send(event(u"good"_s, u"one"_s));
    items(*early, 1);
    get(u"/api/computers/%1/tasks"_s.arg(computer), browser); // which has it moved
    const auto page = this->page(browser);
    const auto stalled = stall();
    page->send(watch(computer, 0));
    EXPECT_EQ(items(*page, 1)[0][u"text"_s].toString(), u"one"_s);
}

TEST_F(LiveTest, APageCatchesUpAcrossWhatIsInTheDatabaseAndWhatIsNot) {
    const auto early = watching();
    for (int number = 1; number <= 3; ++number)
        workshop->send(event(u"good"_s, QString::number(number)));
    items(*early, 3);
    get(u"/api/computers/%1/tasks"_s.arg(computer), browser); // which has it moved
    ManualClock clock;                                        // and no more than that
    for (int number = 4; number <= 6; ++number)
        workshop->send(event(u"good"_s, QString::number(number)));
    items(*early, 3);
    for (qint64 after = 0; after <= 6; ++after) {
        const auto page = this->page(browser);
        page->send(watch(computer, after));
        const auto all = items(*page, 6 - after);
        for (qsizetype place = 0; place < all.size(); ++place)
            EXPECT_EQ(all[place][u"text"_s].toString(), QString::number(after + 1 + place));
        EXPECT_EQ(page->next(u"caughtUp"_s)[u"number"_s].toInt(), 6);
    }
}

TEST_F(LiveTest, WhatWasShownIsInTheNextAnswer) {
    const auto page = watching();
    workshop->send(event(u"user"_s, u"web ❯ go"_s));
    const auto task = items(*page, 1)[0][u"task"_s].toString();
    EXPECT_EQ(get(u"/api/tasks/"_s + task, browser).json()[u"items"_s].toArray().size(), 1);
    workshop->send(event(u"result"_s, u"needle"_s));
    items(*page, 1);
    EXPECT_EQ(get(u"/api/computers/%1/tasks?search=needle"_s.arg(computer), browser).json()[u"tasks"_s][0][u"id"_s],
              task);
    ManualClock clock; // nothing is moved by the time
    workshop->send(toJson(ScreenshotMessage{2, 50, JPEG}));
    const auto url = items(*page, 1)[0][u"url"_s].toString();
    EXPECT_EQ(get(url, browser).body, JPEG);
    EXPECT_EQ(get(url, addUser(u"stranger@example.org"_s)).code(), u"notFound"_s);
}

TEST_F(LiveTest, AStoppedServiceLeavesNothingInItsJournal) {
    const auto page = watching();
    workshop->send(event(u"good"_s, u"one"_s));
    items(*page, 1);
    const auto journals = JournalFile::of(directory.filePath(u"service.sqlite"_s));
    EXPECT_GT(QFile(journals[0]).size(), 0);
    EXPECT_FALSE(QFile::permissions(journals[0]) & (QFile::ReadGroup | QFile::ReadOther));
    stop();
    for (const auto &journal : journals)
        EXPECT_EQ(QFile(journal).size(), 0) << journal.toStdString();
}

TEST_F(LiveTest, APageWithoutAnythingGetsTheNewestFiveHundred) {
    const auto early = watching();
    for (int number = 1; number <= 600; ++number)
        workshop->send(event(u"result"_s, QString::number(number)));
    items(*early, 600);
    const auto page = this->page(browser);
    page->send(watch(computer, -1));
    EXPECT_EQ(items(*page, 500).first()[u"number"_s].toInt(), 101);
    EXPECT_EQ(page->next(u"caughtUp"_s)[u"number"_s].toInt(), 600);
}

TEST_F(LiveTest, APictureIsALinkThatOnlyItsOwnerCanFollow) {
    const auto page = watching();
    workshop->send(toJson(ScreenshotMessage{2, 50, JPEG}));
    const auto item = page->next(u"items"_s)[u"items"_s][0];
    EXPECT_EQ(item[u"kind"_s].toString(), u"picture"_s);
    EXPECT_EQ(item[u"step"_s].toInt(), 2);
    const auto url = item[u"url"_s].toString();
    const auto shown = get(url, browser);
    EXPECT_EQ(shown.body, JPEG);
    EXPECT_EQ(shown.header("Content-Type"), "image/jpeg");
    EXPECT_EQ(shown.header("Cache-Control"), "no-store") << "a browser that was signed out has it no more";
    EXPECT_EQ(get(url).code(), u"signedOut"_s);
    EXPECT_EQ(get(url, addUser(u"stranger@example.org"_s)).code(), u"notFound"_s);
}

TEST_F(LiveTest, WhatIsNoPictureIsNotKeptAsOne) {
    const auto page = watching();
    workshop->send(toJson(ScreenshotMessage{1, 50, "<script>alert(1)</script>"}));
    workshop->send(event(u"good"_s, u"after"_s));
    EXPECT_EQ(items(*page, 1)[0][u"text"_s].toString(), u"after"_s);
}

TEST_F(LiveTest, AnotherAccountsComputerCanNeitherBeWatchedNorDrivenNorHeard) {
    const auto own = watching();
    const auto page = this->page(addUser(u"stranger@example.org"_s));
    EXPECT_EQ(page->next(u"computers"_s)[u"computers"_s].toArray().size(), 0);
    page->send(watch(computer));
    page->send(to(u"listen"_s, {{u"on"_s, true}}));
    page->send(to(u"task"_s, {{u"text"_s, u"steal"_s}}));
    page->send(to(u"cancel"_s));
    own->send(to(u"cancel"_s)); // behind all that the other sent, were it let through
    own->send(to(u"task"_s, {{u"text"_s, u"mine"_s}}));
    workshop->sendSound("secret");
    workshop->send(event(u"good"_s, u"secret"_s));
    items(*own, 1);
    EXPECT_EQ(workshop->next(u"task"_s)[u"text"_s].toString(), u"mine"_s);
    EXPECT_EQ(page->next(u"gone"_s)[u"computer"_s].toString(), computer) << "as one that is not there";
    EXPECT_TRUE(page->messages.empty());
    EXPECT_TRUE(page->sound.isEmpty());
}

TEST_F(LiveTest, TheNewestChannelOfAComputerWins) {
    const auto newer = agent(token);
    ASSERT_TRUE(newer->opens());
    EXPECT_TRUE(workshop->closes());
    const auto page = watching();
    page->send(to(u"cancel"_s));
    EXPECT_FALSE(newer->next(u"cancel"_s).isEmpty());
    EXPECT_TRUE(get(u"/api/computers"_s, browser).json()[u"computers"_s][0][u"online"_s].toBool());
}

TEST_F(LiveTest, AVeryLongTextIsKeptCutAndTheChannelStays) {
    const auto page = watching();
    workshop->send(event(u"result"_s, QString(200'000, u'x')));
    workshop->send(event(u"result"_s, QString(6'000'000, u'y')));
    workshop->send(event(u"good"_s, u"still here"_s));
    const auto all = items(*page, 3);
    EXPECT_EQ(all[0][u"text"_s].toString(), QString(MOST_TEXT, u'x'));
    EXPECT_EQ(all[0][u"cutFrom"_s].toInt(), 200'000);
    EXPECT_EQ(all[1][u"text"_s].toString(), QString(MOST_TEXT, u'y'));
    EXPECT_GE(all[1][u"cutFrom"_s].toInt(), 6'000'000);
    EXPECT_EQ(all[2][u"text"_s].toString(), u"still here"_s);
}

TEST_F(LiveTest, AVeryLongTextIsKeptInWhateverOrderItsEventIs) {
    const auto page = watching();
    workshop->sendText(
        u"{\"type\": \"event\", \"text\": \"%1\", \"kind\": \"result\"}"_s.arg(QString(6'000'000, u'y')));
    workshop->send(event(u"good"_s, u"still here"_s));
    const auto all = items(*page, 2);
    EXPECT_EQ(all[0][u"text"_s].toString(), QString(MOST_TEXT, u'y'));
    EXPECT_EQ(all[0][u"kind"_s].toString(), u"result"_s);
    EXPECT_EQ(all[1][u"text"_s].toString(), u"still here"_s);
}

TEST_F(LiveTest, WhatIsNoMessageIsPassedOver) {
    const auto page = watching();
    for (const auto &text :
         {u"{"_s, u"[]"_s, u"7"_s, u"{\"type\":\"rule\"}"_s, u"{\"type\":\"event\",\"kind\":\"dim\",\"text\":\"no\"}"_s,
          u"{\"type\":\"event\",\"kind\":\"picture\",\"text\":\"no\"}"_s})
        workshop->sendText(text);
    workshop->send(event(u"good"_s, u"after"_s));
    EXPECT_EQ(items(*page, 1)[0][u"text"_s].toString(), u"after"_s);
}

TEST_F(LiveTest, MarkupInAnEventStaysText) {
    const auto page = watching();
    workshop->send(event(u"claude"_s, u"<img src=x onerror=alert(1)>"_s));
    EXPECT_EQ(textsOf(page->next(u"items"_s)), QStringList{u"<img src=x onerror=alert(1)>"_s});
}

TEST_F(LiveTest, ATaskIsKeptWithItsStepsItsOutcomeAndItsItems) {
    const auto page = watching();
    workshop->send(state(true));
    workshop->send(event(u"user"_s, u"web ❯ write a poem"_s));
    workshop->send(state(true, 1));
    workshop->send(toJson(ScreenshotMessage{1, 50, JPEG}));
    workshop->send(event(u"code"_s, u"script:\ntell application \"Editor\""_s));
    workshop->send(state(true, 2));
    workshop->send(event(u"good"_s, u"✓ It is written."_s));
    workshop->send(state(false, 2));
    items(*page, 4);
    const auto last = computerOnce(*page, [](const QJsonObject &its) {
        return !its[u"lastTask"_s][u"ended"_s].isNull() && its[u"lastTask"_s].isObject();
    });
    EXPECT_EQ(last[u"lastTask"_s][u"outcome"_s].toString(), u"done"_s);
    const auto listed = get(u"/api/computers/%1/tasks"_s.arg(computer), browser).json();
    const auto task = listed[u"tasks"_s][0];
    EXPECT_EQ(task[u"text"_s].toString(), u"write a poem"_s);
    EXPECT_EQ(task[u"from"_s].toString(), u"web"_s);
    EXPECT_EQ(task[u"steps"_s].toInt(), 2);
    EXPECT_EQ(task[u"answer"_s].toString(), u"It is written."_s);
    EXPECT_FALSE(listed[u"more"_s].toBool());
    const auto whole = get(u"/api/tasks/"_s + task[u"id"_s].toString(), browser).json();
    EXPECT_EQ(whole[u"items"_s].toArray().size(), 4);
    EXPECT_EQ(whole[u"items"_s][2][u"step"_s].toInt(), 1);
    EXPECT_EQ(get(u"/api/tasks/"_s + task[u"id"_s].toString(), addUser(u"other@example.org"_s)).code(), u"notFound"_s);
}

TEST_F(LiveTest, PastTasksAreFoundByWhatWasSaidInThem) {
    const auto page = watching();
    for (const auto &words : {u"first"_s, u"second 100% für Österreich"_s}) {
        workshop->send(state(true));
        workshop->send(event(u"user"_s, u"you ❯ "_s + words));
        workshop->send(event(u"code"_s, u"do shell script \"echo "_s + words + u"\""_s));
        workshop->send(state(false));
    }
    items(*page, 4);
    const auto found = [&](const QString &search) {
        QStringList texts;
        const auto tasks =
            get(u"/api/computers/%1/tasks?search=%2"_s.arg(computer, search), browser).json()[u"tasks"_s].toArray();
        for (const auto &task : tasks)
            texts.append(task[u"text"_s].toString());
        return texts;
    };
    const auto second = u"second 100% für Österreich"_s;
    EXPECT_EQ(found(u"ECHO"_s), (QStringList{second, u"first"_s}));
    EXPECT_EQ(found(u"100%25"_s), QStringList{second});
    EXPECT_EQ(found(u"FÜR öster"_s), QStringList{second}) << "as the page marks what it finds";
    EXPECT_EQ(found(u"_"_s), QStringList());
    EXPECT_EQ(found(u"nothing"_s), QStringList());
}

TEST_F(LiveTest, ASearchSaysWhereItFound) {
    const auto page = watching();
    workshop->send(state(true));
    workshop->send(event(u"user"_s, u"you ❯ greet"_s));
    workshop->send(state(true, 2));
    workshop->send(event(u"code"_s, u"script:\n  say \"Grüße\"  \ndelay 1"_s));
    workshop->send(event(u"result"_s, QString(300, u'x') + u" needle "_s + QString(300, u'y')));
    workshop->send(event(u"claude"_s, u"all said"_s));
    workshop->send(state(false));
    items(*page, 4);
    const auto found = [&](const QString &search) {
        return get(u"/api/computers/%1/tasks?search=%2"_s.arg(computer, search), browser).json();
    };
    EXPECT_EQ(found(u"GRÜ"_s)[u"tasks"_s][0][u"match"_s].toObject(),
              (QJsonObject{{u"step"_s, 2}, {u"kind"_s, u"code"_s}, {u"text"_s, u"say \"Grüße\""_s}}));
    EXPECT_EQ(found(u"needle"_s)[u"tasks"_s][0][u"match"_s][u"text"_s].toString(),
              u"…"_s + QString(49, u'x') + u" needle "_s + QString(143, u'y') + u"…"_s);
    EXPECT_TRUE(found(u"greet"_s)[u"tasks"_s][0][u"match"_s].isUndefined()) << "the task itself says it";
    EXPECT_TRUE(found({})[u"tasks"_s][0][u"match"_s].isUndefined());
    EXPECT_EQ(found(u"nothing"_s)[u"total"_s].toInt(), 1);
}

TEST_F(LiveTest, WhatIsToldIsKeptWhileALongSearchGoesOn) {
    std::promise<void> end;
    server->reader().post([searching = end.get_future().share()](Store &) { searching.wait(); });
    bool found = false;
    QNetworkRequest search(QUrl(base() + u"/api/computers/%1/tasks?search=words"_s.arg(computer)));
    search.setRawHeader("Cookie", browser.cookie);
    const std::unique_ptr<QNetworkReply> reply(network.get(search));
    QObject::connect(reply.get(), &QNetworkReply::finished, reply.get(), [&] { found = true; });
    EXPECT_TRUE(waitUntil([&] { return server->reader().waiting() > 0; })) << "the search is not the reader's";
    const auto page = watching();
    workshop->send(event(u"good"_s, u"kept meanwhile"_s));
    EXPECT_EQ(items(*page, 1)[0][u"text"_s].toString(), u"kept meanwhile"_s);
    EXPECT_FALSE(found);
    end.set_value();
    EXPECT_TRUE(waitUntil([&] { return found; }));
    EXPECT_EQ(reply->error(), QNetworkReply::NoError);
}

TEST_F(LiveTest, AComputersForgottenHistoryIsGoneAndItsNumbersGoOn) {
    const auto page = watching();
    workshop->send(event(u"good"_s, u"one"_s));
    items(*page, 1);
    EXPECT_EQ(send("DELETE", u"/api/computers/%1/history"_s.arg(computer), {}, browser).status, 204);
    workshop->send(event(u"good"_s, u"two"_s));
    EXPECT_EQ(items(*page, 1)[0][u"number"_s].toInt(), 2);
    const auto later = this->page(browser);
    later->send(watch(computer, 0));
    EXPECT_EQ(items(*later, 1)[0][u"text"_s].toString(), u"two"_s);
}

TEST_F(LiveTest, APageThatWatchesARevokedComputerIsToldAndOneThatIsNotThereToo) {
    const auto page = watching();
    EXPECT_EQ(send("DELETE", u"/api/computers/"_s + computer, {}, browser).status, 204);
    const auto revoked = computerOnce(*page, [](const QJsonObject &its) { return its[u"revoked"_s].toBool(); });
    EXPECT_EQ(revoked[u"id"_s].toString(), computer);
    computerOnce(*page, [](const QJsonObject &its) { return !its[u"online"_s].toBool(); });
    page->send(watch(u"99"_s));
    EXPECT_EQ(page->next(u"gone"_s)[u"computer"_s].toString(), u"99"_s);
}

TEST_F(LiveTest, TheNewestPictureOfAComputerIsToldAlsoAfterAStart) {
    const auto page = watching();
    for (int step = 1; step <= 3; ++step)
        workshop->send(toJson(ScreenshotMessage{step, 50.0 + step, JPEG}));
    const auto told =
        computerOnce(*page, [](const QJsonObject &its) { return its[u"picture"_s][u"step"_s].toInt() == 3; });
    const QJsonValue picture = told[u"picture"_s];
    EXPECT_EQ(picture[u"time"_s].toDouble(), 53);
    EXPECT_EQ(get(picture[u"url"_s].toString(), browser).body, JPEG);
    stop();
    start();
    const QJsonValue shown = get(u"/api/computers"_s, browser).json()[u"computers"_s][0][u"picture"_s];
    EXPECT_EQ(shown, picture);
    EXPECT_EQ(send("DELETE", u"/api/computers/%1/history"_s.arg(computer), {}, browser).status, 204);
    EXPECT_TRUE(
        waitUntil([&] { return get(u"/api/computers"_s, browser).json()[u"computers"_s][0][u"picture"_s].isNull(); }));
}

TEST_F(LiveTest, ATaskThatRunsIsEndedWhenItsComputerComesBackIdle) {
    const auto page = watching();
    // It never said that it is busy, as one that begins a task just when its channel is lost.
    workshop->send(event(u"user"_s, u"web ❯ go"_s));
    items(*page, 1);
    const auto again = agent(token); // the other channel is still open, as far as the service knows
    ASSERT_TRUE(again->opens());
    again->send(state(false));
    const auto its = computerOnce(*page, [](const QJsonObject &one) {
        return one[u"lastTask"_s].isObject() && !one[u"lastTask"_s][u"ended"_s].isNull();
    });
    EXPECT_EQ(its[u"lastTask"_s][u"outcome"_s].toString(), u"unknown"_s);
}

TEST_F(LiveTest, ATaskThatRanOutOfStepsIsNotFinished) {
    const auto page = watching();
    workshop->send(state(true));
    workshop->send(event(u"user"_s, u"web ❯ go"_s));
    workshop->send(event(u"warn"_s, u"── hit max steps (15) — type a follow-up to continue"_s));
    workshop->send(state(false));
    const auto its = computerOnce(*page, [](const QJsonObject &one) {
        return one[u"lastTask"_s].isObject() && !one[u"lastTask"_s][u"ended"_s].isNull();
    });
    EXPECT_EQ(its[u"lastTask"_s][u"outcome"_s].toString(), u"unfinished"_s);
}

TEST_F(LiveTest, WhenAComputerWasSeenLastIsKept) {
    const auto page = watching();
    const auto before = Clock::unixSeconds();
    workshop->drop();
    const auto gone = computerOnce(*page, [](const QJsonObject &its) { return !its[u"online"_s].toBool(); });
    EXPECT_GE(gone[u"since"_s].toDouble(), before);
    stop();
    start();
    const auto since = get(u"/api/computers"_s, browser).json()[u"computers"_s][0][u"since"_s].toDouble();
    EXPECT_NEAR(since, gone[u"since"_s].toDouble(), 0.5);
}

TEST_F(LiveTest, WhatIsMissingInAnEventOrOfAnotherKindDropsNone) {
    const auto page = watching();
    workshop->sendText(
        u"{\"type\":\"state\",\"busy\":true,\"step\":\"two\",\"calls\":7,\"sharing\":[],\"status\":{}}"_s);
    const QStringList times{u""_s,           u",\"ts\":\"noon\""_s, u",\"ts\":null"_s, u",\"ts\":{}"_s,
                            u",\"ts\":-5"_s, u",\"ts\":1e300"_s,    u",\"ts\":true"_s};
    for (const auto &time : times)
        workshop->sendText(u"{\"type\":\"event\",\"kind\":\"good\",\"text\":\"a line\"%1}"_s.arg(time));
    workshop->sendText(u"{\"type\":\"event\",\"kind\":\"good\"}"_s);
    workshop->sendText(u"{\"type\":\"event\",\"kind\":\"good\",\"text\":[1]}"_s);
    const auto picture = QString::fromLatin1(JPEG.toBase64());
    for (const auto &more : {u""_s, u",\"ts\":\"noon\",\"step\":\"two\""_s, u",\"ts\":-1,\"step\":2.5"_s,
                             u",\"match\":7,\"total\":{},\"arrivedAt\":[]"_s})
        workshop->sendText(u"{\"type\":\"screenshot\",\"jpeg\":\"%1\"%2}"_s.arg(picture, more));
    const auto all = items(*page, times.size() + 6);
    ASSERT_EQ(all.size(), times.size() + 6);
    const auto now = Clock::unixSeconds();
    for (const auto &item : all)
        EXPECT_NEAR(item[u"time"_s].toDouble(), now, 120) << "when it came";
    EXPECT_EQ(all[times.size()][u"text"_s].toString(), QString());
    EXPECT_EQ(all[times.size() + 2][u"kind"_s].toString(), u"picture"_s);
}

TEST_F(LiveTest, ASilentComputerIsTakenForGone) {
    const auto page = watching();
    ManualClock clock;
    for (int round = 0; round < 4; ++round) { // the page answers the service's pings
        clock.advance(std::chrono::seconds(25));
        page->send({{u"type"_s, u"unwatch"_s}});
        settle();
    }
    EXPECT_TRUE(workshop->closes());
}

TEST_F(LiveTest, ASessionHasSoManyPagesAndAnAccountHasSoMany) {
    std::vector<std::unique_ptr<Line>> pages;
    const auto open = [&](const Browser &in, int count) {
        for (int number = 0; number < count; ++number) {
            pages.push_back(page(in));
            EXPECT_FALSE(pages.back()->next(u"computers"_s).isEmpty());
        }
    };
    const auto isRefused = [&](const Browser &in) {
        Line more(socketURL(u"/live"_s), {{"Cookie", in.cookie}, {"Origin", origin()}});
        return waitUntil([&] { return more.closeCode() == Channel::TOO_MANY; });
    };
    open(browser, 20);
    EXPECT_TRUE(isRefused(browser));
    open(browserOf(signIn(u"owner@example.org"_s)), 20);
    open(browserOf(signIn(u"owner@example.org"_s)), 20);
    EXPECT_TRUE(isRefused(browserOf(signIn(u"owner@example.org"_s))));
    open(addUser(u"other@example.org"_s), 1);
    pages.front()->drop();
    EXPECT_TRUE(waitUntil([&] { return metric("ombru_pages_open") == 60; }));
    open(browser, 1);
}

TEST_F(LiveTest, APageThatSaysTooMuchIsClosedAndOthersStay) {
    const auto other = watching();
    const auto page = this->page(browser);
    for (int number = 0; number < 1000; ++number)
        page->send(watch(computer, 0));
    EXPECT_TRUE(page->closes());
    EXPECT_EQ(page->closeCode(), Channel::POLICY);
    workshop->send(event(u"good"_s, u"still here"_s));
    EXPECT_EQ(items(*other, 1)[0][u"text"_s].toString(), u"still here"_s);
}

TEST_F(LiveTest, APageThatWatchesOftenAsksTheStoreOneThingAtATime) {
    const auto early = watching();
    for (int number = 0; number < 10; ++number)
        workshop->send(event(u"good"_s, QString::number(number)));
    items(*early, 10);
    get(u"/api/computers/%1/tasks"_s.arg(computer), browser); // which has them moved into the database
    std::promise<void> end;
    const auto begun = std::make_shared<std::promise<void>>();
    server->pages().post([begun, waiting = end.get_future().share()](Store &) {
        begun->set_value();
        waiting.wait();
    });
    begun->get_future().wait();
    for (int number = 0; number < 40; ++number)
        early->send(watch(computer, number % 10));
    early->send(to(u"listen"_s, {{u"on"_s, true}})); // behind all those
    EXPECT_TRUE(workshop->next(u"listen"_s)[u"on"_s].toBool());
    EXPECT_LE(server->pages().waiting(), 1U);
    end.set_value();
    EXPECT_EQ(early->next(u"caughtUp"_s)[u"number"_s].toInt(), 10);
}

TEST_F(LiveTest, AFullDiskIsSaidOnThePageAndLosesNothingThatIsThere) {
    stop();
    start({.passwordCost = CHEAP, .mostPages = 100});
    workshop = agent(token);
    ASSERT_TRUE(workshop->opens());
    const auto page = watching();
    workshop->send(event(u"good"_s, u"kept"_s));
    items(*page, 1);
    for (int number = 0; number < 40; ++number)
        workshop->send(event(u"result"_s, QString(60'000, u'x')));
    EXPECT_TRUE(page->next(u"full"_s)[u"message"_s].toString().contains(u"full"_s));
    const auto later = this->page(browser);
    later->send(watch(computer, 0));
    EXPECT_EQ(items(*later, 1)[0][u"text"_s].toString(), u"kept"_s);
    EXPECT_EQ(config(token).status, 200);
}

TEST_F(LiveTest, AFullDiskIsSaidOnEachPageUntilThereIsRoomForWhatWasLost) {
    const auto reception = agent(pair(browser, u"reception"_s));
    ASSERT_TRUE(workshop->opens() && reception->opens());
    const auto list = page(browser); // watches none
    const auto stranger = page(addUser(u"other@example.org"_s));
    ManualClock clock;                    // so that nothing is moved out of the journal by the time
    std::optional<Ceiling> disk(100'000); // bytes: none of those fits
    for (int number = 0; number < 3; ++number)
        workshop->send(event(u"result"_s, QString(60'000, u'x')));
    EXPECT_TRUE(list->next(u"full"_s)[u"message"_s].toString().contains(u"full"_s));

    const auto watching = this->page(browser);
    watching->next(u"computers"_s);
    EXPECT_FALSE(watching->next(u"full"_s)[u"message"_s].toString().isEmpty()) << "opened after the loss";
    const auto second = get(u"/api/computers"_s, browser).json()[u"computers"_s][1][u"id"_s].toString();
    watching->send(watch(second, 0));
    reception->send(event(u"good"_s, u"small"_s));
    EXPECT_EQ(items(*watching, 1)[0][u"text"_s].toString(), u"small"_s);
    const auto later = page(browser);
    later->next(u"computers"_s);
    EXPECT_FALSE(later->next(u"full"_s)[u"message"_s].toString().isEmpty()) << "another's was kept";

    disk.reset();
    clock.advance(std::chrono::seconds(25));
    while (!later->next(u"full"_s)[u"message"_s].toString().isEmpty())
        ;
    for (const auto &message : stranger->messages)
        EXPECT_NE(message[u"type"_s].toString(), u"full"_s) << "of another's computer";
}

TEST_F(LiveTest, WhatAComputerThatIsAwaySaidLastStaysKnown) {
    const auto page = watching();
    workshop->send(state(true, 4));
    computerOnce(*page, [](const QJsonObject &its) { return its[u"state"_s][u"busy"_s].toBool(); });
    workshop->drop();
    const auto away = computerOnce(*page, [](const QJsonObject &its) { return !its[u"online"_s].toBool(); });
    EXPECT_TRUE(away[u"state"_s][u"busy"_s].toBool());
    EXPECT_EQ(away[u"state"_s][u"step"_s].toInt(), 4);
    workshop = agent(token);
    const auto back = computerOnce(*page, [](const QJsonObject &its) { return its[u"online"_s].toBool(); });
    EXPECT_TRUE(back[u"state"_s].isNull()) << "it may have ended meanwhile";
}

TEST_F(LiveTest, ForgettingAHistoryMakesRoomOnAFullDiskAndThePageIsTold) {
    stop();
    start({.passwordCost = CHEAP, .mostPages = 100});
    workshop = agent(token);
    ASSERT_TRUE(workshop->opens());
    const auto page = watching();
    for (int number = 0; number < 8; ++number)
        workshop->send(event(u"result"_s, QString(60'000, u'x')));
    items(*page, 8);
    get(u"/api/computers/%1/tasks"_s.arg(computer), browser); // which has them moved, in vain
    EXPECT_FALSE(page->next(u"full"_s)[u"message"_s].toString().isEmpty());
    EXPECT_EQ(send("DELETE", u"/api/computers/%1/history"_s.arg(computer), {}, browser).status, 204);
    while (!page->next(u"full"_s)[u"message"_s].toString().isEmpty())
        ;
    workshop->send(event(u"good"_s, QString(60'000, u'y')));
    const auto later = this->page(browser);
    EXPECT_TRUE(waitUntil([&] {
        later->send(watch(computer, 0));
        return textsOf(later->next(u"items"_s)).contains(QString(60'000, u'y'));
    }));
}

TEST_F(LiveTest, NothingIsLostWhenTheServiceStartsAnew) {
    {
        const auto page = watching();
        workshop->send(state(true));
        workshop->send(event(u"user"_s, u"web ❯ go on"_s));
        items(*page, 1);
    }
    stop();
    start();
    EXPECT_EQ(get(u"/api/computers"_s, browser).json()[u"computers"_s][0][u"lastTask"_s][u"outcome"_s].toString(),
              u"unknown"_s);
    workshop = agent(token);
    ASSERT_TRUE(workshop->opens());
    const auto page = watching(0);
    workshop->send(state(true, 3));
    const auto running =
        computerOnce(*page, [](const QJsonObject &its) { return its[u"lastTask"_s][u"ended"_s].isNull(); });
    EXPECT_EQ(running[u"lastTask"_s][u"outcome"_s].toString(), u"running"_s);
    EXPECT_EQ(running[u"lastTask"_s][u"steps"_s].toInt(), 3);
}

TEST_F(LiveTest, APageThatDoesNotReadGetsEverythingOnceItDoesAndTheNewestPicture) {
    constexpr int MANY = 3000;
    TcpPeer slow(port, 32 << 10);
    slow.write(
        "GET /live HTTP/1.1\r\nHost: here\r\nConnection: Upgrade\r\nUpgrade: websocket\r\nSec-WebSocket-Version: 13\r\n"
        "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nCookie: " +
        browser.cookie + "\r\nOrigin: " + origin() + "\r\n\r\n" +
        masked(Opcode::text, QJsonDocument(watch(computer, 0)).toJson(QJsonDocument::Compact)));
    const auto quick = watching(0);
    for (int number = 1; number < MANY; ++number)
        workshop->send(event(u"result"_s, QString(2000, u'x')));
    workshop->send(toJson(ScreenshotMessage{7, 50, JPEG}));
    items(*quick, MANY);

    // All that comes until the last one is there; on another thread, since the service answers on this one.
    struct Shown {
        std::vector<int> numbers;
        int step = 0; // of the computer's newest picture
    };
    const auto shown = await(background([&slow] {
        Shown seen;
        FrameReader frames;
        QByteArray bytes = slow.readSome();
        bytes.remove(0, bytes.indexOf("\r\n\r\n") + 4);
        for (;;) {
            frames.append(bytes);
            for (auto frame = frames.next(); frame && *frame; frame = frames.next()) {
                const auto message = QJsonDocument::fromJson((*frame)->payload.toByteArray());
                const auto all = message[u"items"_s].toArray();
                for (const auto &item : all)
                    seen.numbers.push_back(item[u"number"_s].toInt());
                if (message[u"type"_s] == u"computer"_s)
                    seen.step = message[u"computer"_s][u"picture"_s][u"step"_s].toInt();
            }
            if (!seen.numbers.empty() && seen.numbers.back() >= MANY && seen.step == 7)
                break;
            bytes = slow.readSome();
            if (bytes.isEmpty())
                break;
        }
        return seen;
    }));
    EXPECT_EQ(shown.step, 7);
    ASSERT_EQ(shown.numbers.size(), std::size_t(MANY));
    for (int place = 0; place < MANY; ++place)
        ASSERT_EQ(shown.numbers[static_cast<std::size_t>(place)], place + 1);
}

TEST_F(LiveTest, APageOfASessionThatAnotherProgramEndedIsClosed) {
    const auto page = watching();
    ManualClock clock;
    {
        const auto beside = Store::open({directory.filePath(u"service.sqlite"_s)});
        ASSERT_TRUE(*(*beside)->accounts.setPassword(u"owner@example.org"_s, "another"));
    }
    clock.advance(std::chrono::seconds(25));
    EXPECT_TRUE(page->closes());
    EXPECT_EQ(page->closeCode(), 4401);
}

TEST_F(LiveTest, WhatIsOlderThanTheSettingSaysIsDroppedByTheHour) {
    ASSERT_TRUE(settings->picturesKept.override(1));
    const auto page = watching();
    workshop->send(toJson(ScreenshotMessage{1, 50, JPEG}));
    workshop->send(toJson(ScreenshotMessage{2, 51, JPEG}));
    const auto all = items(*page, 2);
    ManualClock clock;
    clock.advance(std::chrono::hours(1));
    EXPECT_TRUE(waitUntil([&] { return get(all[0][u"url"_s].toString(), browser).status == 404; }));
    EXPECT_EQ(get(all[1][u"url"_s].toString(), browser).status, 200);
}

} // namespace
