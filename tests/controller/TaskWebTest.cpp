#include "tests/controller/LoopFixture.h"

using namespace ombru;
using namespace Qt::StringLiterals;

using TaskWebTest = test::LoopFixture;

TEST_F(TaskWebTest, TheWebPageIsToldOfEveryStepAndSeesTheScreen) {
    const auto began = Clock::unixSeconds();
    QList<int> steps;
    std::vector<QJsonObject> sent;
    state->setWebChannel([&](const AgentMessage &told) {
        const auto message = toJson(told);
        sent.push_back(message);
    });
    state->setWebChannelOpen(true);
    reply({block(u"one"_s), u"DONE: ok"_s});
    runTask(u"go"_s);
    QStringList order;
    for (const auto &message : sent) {
        const auto type = message[u"type"_s].toString();
        if (type == u"state"_s)
            order.append(u"state %1 %2"_s.arg(message[u"busy"_s].toBool()).arg(message[u"step"_s].toInt()));
        else
            order.append(type + u' ' + message[u"kind"_s].toString());
        if (type == u"screenshot"_s) {
            steps.append(message[u"step"_s].toInt());
            EXPECT_GE(message[u"ts"_s].toDouble(), began);
            EXPECT_LE(message[u"ts"_s].toDouble(), Clock::unixSeconds());
            EXPECT_TRUE(QByteArray::fromBase64(message[u"jpeg"_s].toString().toLatin1()).startsWith("\xff\xd8"));
        }
    }
    EXPECT_EQ(order, (QStringList{u"state 1 0"_s, u"event user"_s, u"state 1 0"_s, u"state 1 1"_s, u"screenshot "_s,
                                  u"event code"_s, u"event result"_s, u"state 1 2"_s, u"screenshot "_s, u"event good"_s,
                                  u"state 0 2"_s}));
    EXPECT_EQ(steps, (QList<int>{1, 2}));
    EXPECT_EQ(sent.back()[u"status"_s].toString(), u"✓ ok"_s);
}

TEST_F(TaskWebTest, AChannelThatIsNotOpenGetsEventsAlone) {
    QStringList types;
    state->setWebChannel([&](const AgentMessage &told) {
        const auto message = toJson(told);
        types.append(message[u"type"_s].toString());
    });
    reply({block(u"one"_s), u"DONE: ok"_s});
    runTask(u"go"_s);
    types.removeDuplicates();
    EXPECT_EQ(types, QStringList{u"event"_s});
}

TEST_F(TaskWebTest, ThePictureForTheWebPageDoesNotNeedTheFile) {
    QStringList types;
    state->setWebChannel([&](const AgentMessage &told) {
        const auto message = toJson(told);
        types.append(message[u"type"_s].toString());
    });
    state->setWebChannelOpen(true);
    const auto listening = state->onEvent([](const Event &event) {
        if (event.text.startsWith(u"screenshot "_s))
            QDir(AppState::workDir() + u"/screenshots"_s).removeRecursively();
    });
    reply({u"DONE: ok"_s});
    runTask(u"go"_s);
    EXPECT_TRUE(types.contains(u"screenshot"_s)) << types.join(u' ').toStdString();
}
