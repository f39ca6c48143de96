#include "wire/AgentCommands.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <gtest/gtest.h>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

std::optional<AgentCommand> command(const char *json) {
    return agentCommand(QJsonDocument::fromJson(json).object());
}

} // namespace

TEST(AgentCommands, ATaskIsItsTextWithoutBlanksAroundIt) {
    EXPECT_EQ(command(R"({"type": "task", "text": " \n open the editor\t\n"})"),
              AgentCommand(TaskCommand{u"open the editor"_s}));
    EXPECT_EQ(command(R"({"type": "task", "text": " \n "})"), AgentCommand(TaskCommand{}));
}

TEST(AgentCommands, ATaskWithoutATextIsAnEmptyOne) {
    for (const auto *json : {R"({"type": "task"})", R"({"type": "task", "text": 7})",
                             R"({"type": "task", "text": ["a"]})", R"({"type": "task", "text": null})"})
        EXPECT_EQ(command(json), AgentCommand(TaskCommand{})) << json;
}

TEST(AgentCommands, CancelHasNothingToSay) {
    EXPECT_EQ(command(R"({"type": "cancel", "text": "x"})"), AgentCommand(CancelCommand{}));
}

TEST(AgentCommands, ListeningIsOffButForTrue) {
    EXPECT_EQ(command(R"({"type": "listen", "on": true})"), AgentCommand(ListenCommand{true}));
    for (const auto *json : {R"({"type": "listen"})", R"({"type": "listen", "on": false})",
                             R"({"type": "listen", "on": "true"})", R"({"type": "listen", "on": 1})"})
        EXPECT_EQ(command(json), AgentCommand(ListenCommand{false})) << json;
}

TEST(AgentCommands, WhatIsOfNoKnownTypeIsNone) {
    for (const auto *json : {"{}", R"({"type": 7})", R"({"type": "Task", "text": "x"})", R"({"type": " cancel"})",
                             R"({"text": "x"})", R"({"type": null})"})
        EXPECT_EQ(command(json), std::nullopt) << json;
}

TEST(AgentCommands, WhatIsWrittenIsRead) {
    EXPECT_EQ(agentCommand(toJson(TaskCommand{u"open the editor"_s})), AgentCommand(TaskCommand{u"open the editor"_s}));
    EXPECT_EQ(agentCommand(toJson(CancelCommand{})), AgentCommand(CancelCommand{}));
    EXPECT_EQ(agentCommand(toJson(ListenCommand{true})), AgentCommand(ListenCommand{true}));
    EXPECT_EQ(agentCommand(toJson(ListenCommand{false})), AgentCommand(ListenCommand{false}));
}
