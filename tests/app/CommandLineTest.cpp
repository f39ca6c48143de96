#include "app/CommandLine.h"

#include <gtest/gtest.h>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

template <class T>
T read(const QStringList &arguments) {
    auto command = readCommandLine(arguments);
    EXPECT_TRUE(std::holds_alternative<T>(command)) << arguments.join(u' ').toStdString();
    return std::holds_alternative<T>(command) ? std::get<T>(command) : T{};
}

} // namespace

TEST(CommandLine, ATaskMayBeOneArgumentOrManyWords) {
    EXPECT_EQ(read<RunOptions>({u"run"_s, u"open the editor"_s}).task, u"open the editor"_s);
    EXPECT_EQ(read<RunOptions>({u"run"_s, u"open"_s, u"the"_s, u"editor"_s}).task, u"open the editor"_s);
}

TEST(CommandLine, OptionsOfRunAreKeptAsTyped) {
    const auto options = read<RunOptions>({u"run"_s, u"--model"_s, u"m"_s, u"--max-steps=3"_s, u"--json"_s, u"go"_s});
    EXPECT_EQ(options.task, u"go"_s);
    EXPECT_EQ(options.model, u"m"_s);
    EXPECT_EQ(options.maxSteps, u"3"_s);
    EXPECT_TRUE(options.json);
    const auto plain = read<RunOptions>({u"run"_s, u"go"_s});
    EXPECT_FALSE(plain.model || plain.maxSteps || plain.json);
}

TEST(CommandLine, ATaskThatLooksLikeAnOptionFollowsTwoDashes) {
    EXPECT_EQ(read<RunOptions>({u"run"_s, u"--"_s, u"--json is what?"_s}).task, u"--json is what?"_s);
}

TEST(CommandLine, TextsMayBeAnyUnicode) {
    EXPECT_EQ(read<RunOptions>({u"run"_s, u"schreib „Grüße“ 👋🏽"_s}).task, u"schreib „Grüße“ 👋🏽"_s);
}

TEST(CommandLine, AnEmptyTaskSaysWhatToType) {
    for (const auto &arguments : {QStringList{u"run"_s}, QStringList{u"run"_s, u"  "_s}}) {
        const auto farewell = read<Farewell>(arguments);
        EXPECT_EQ(farewell.status, 2);
        EXPECT_FALSE(farewell.error.isEmpty());
    }
}

TEST(CommandLine, NoWordsAtAllShowTheHelp) {
    const auto farewell = read<Farewell>({});
    EXPECT_EQ(farewell.status, 0);
    EXPECT_TRUE(farewell.output.contains(u"Examples:"_s));
}

TEST(CommandLine, HelpTeachesAndVersionTells) {
    const auto help = read<Farewell>({u"--help"_s});
    EXPECT_EQ(help.status, 0);
    for (const auto &word : {u"run"_s, u"test-claude"_s, u"settings"_s, u"doctor"_s, u"ombru run \""_s})
        EXPECT_TRUE(help.output.contains(word)) << word.toStdString();
    const auto run = read<Farewell>({u"run"_s, u"--help"_s});
    EXPECT_TRUE(run.output.contains(u"130 after Ctrl-C"_s));
    EXPECT_TRUE(run.output.contains(u"--max-steps"_s));
    EXPECT_TRUE(read<Farewell>({u"--version"_s}).output.startsWith(u"ombru "_s));
}

TEST(CommandLine, UnknownWordsAreRefused) {
    for (const auto &arguments : {QStringList{u"fly"_s}, QStringList{u"run"_s, u"--wings"_s, u"x"_s},
                                  QStringList{u"settings"_s, u"a"_s, u"b"_s, u"c"_s}}) {
        const auto farewell = read<Farewell>(arguments);
        EXPECT_EQ(farewell.status, 2);
        EXPECT_FALSE(farewell.error.isEmpty()) << arguments.join(u' ').toStdString();
    }
}

TEST(CommandLine, SettingsTakeAKeyAndAValueAndTheValueMayBeEmpty) {
    EXPECT_FALSE(read<SettingsOptions>({u"settings"_s}).key);
    EXPECT_EQ(read<SettingsOptions>({u"settings"_s, u"model"_s}).key, u"model"_s);
    EXPECT_EQ(read<SettingsOptions>({u"settings"_s, u"model"_s, u""_s}).value, QString(u""_s));
}
