// What the controller knows, as the panel is given it.

#include "app/panel/PanelSource.h"

#include "tests/controller/LinkFixture.h"

#include <QTcpServer>

using namespace ombru;
using namespace Qt::StringLiterals;
using test::waitUntil;

namespace {

class PanelSource : public test::LinkFixture {
protected:
    PanelSource() {
        QTcpServer server;
        EXPECT_TRUE(server.listen(QHostAddress::LocalHost));
        port = server.serverPort();
        server.close();
        EXPECT_TRUE(state->settings.callPort.write(port));
    }
    void allow(bool trusted) {
        config = json(R"({"email": "ann@host", "trusted": )" + QByteArray(trusted ? "true" : "false") +
                      R"(, "ws_token": "w"})");
    }
    // The heartbeat of the boot before has finished its round, too.
    void bootAgain() {
        test::await(state->boot());
        comeToRest();
    }

    quint16 port = 0;
};

} // namespace

TEST_F(PanelSource, AFreshComputerHasNothingOfTheServices) {
    const auto told = panelState(*state);
    EXPECT_FALSE(told.trusted);
    EXPECT_FALSE(told.serverListening);
    EXPECT_EQ(told.serverStatus, QString());
    EXPECT_FALSE(told.agentConnected);
    EXPECT_FALSE(told.cloudReachable);
    EXPECT_EQ(told.callPort, port);
}

TEST_F(PanelSource, EachOfTheServicesIsToldByItself) {
    allow(false);
    boot();
    ASSERT_TRUE(waitUntil([this] { return state->agentConnected(); }));
    auto told = panelState(*state);
    EXPECT_TRUE(told.agentConnected);
    EXPECT_TRUE(told.cloudReachable);
    EXPECT_FALSE(told.trusted);
    EXPECT_FALSE(told.serverListening);
    EXPECT_EQ(told.serverStatus, u"calls don't reach this Mac (ask the admin to route your number)");

    allow(true);
    bootAgain();
    ASSERT_TRUE(waitUntil([this] { return state->serverListening(); })) << state->serverStatus().toStdString();
    told = panelState(*state);
    EXPECT_TRUE(told.trusted);
    EXPECT_TRUE(told.serverListening);
    EXPECT_EQ(told.serverStatus, u"taking calls on port %1"_s.arg(port));

    allow(false); // the server goes on
    bootAgain();
    told = panelState(*state);
    EXPECT_FALSE(told.trusted);
    EXPECT_TRUE(told.serverListening);

    state->setWebChannelOpen(false);
    told = panelState(*state);
    EXPECT_FALSE(told.agentConnected);
    EXPECT_TRUE(told.cloudReachable);

    state->setWebChannelOpen(true);
    ASSERT_TRUE(state->settings.serverURL.write(u"http://127.0.0.1:1"_s));
    bootAgain();
    told = panelState(*state);
    EXPECT_TRUE(told.agentConnected);
    EXPECT_FALSE(told.cloudReachable);
}
