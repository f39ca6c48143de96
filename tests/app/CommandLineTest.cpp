#include "app/cli/CommandLine.h"

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

TEST(CommandLine, ATaskGoesOnWithAConversationOrBeginsOne) {
    using enum RunOptions::Conversation;
    EXPECT_EQ(read<RunOptions>({u"run"_s, u"go"_s}).conversation, usual);
    EXPECT_EQ(read<RunOptions>({u"run"_s, u"--continue"_s, u"go"_s}).conversation, last);
    EXPECT_EQ(read<RunOptions>({u"run"_s, u"--fresh"_s, u"go"_s}).conversation, fresh);
    EXPECT_EQ(read<Farewell>({u"run"_s, u"--fresh"_s, u"--continue"_s, u"go"_s}).status, 2);
}

TEST(CommandLine, OnlyWhoeverIsNoProgramCanBeAskedAboutScripts) {
    EXPECT_TRUE(read<RunOptions>({u"run"_s, u"--confirm"_s, u"go"_s}).confirm);
    EXPECT_EQ(read<Farewell>({u"run"_s, u"--confirm"_s, u"--json"_s, u"go"_s}).status, 2);
    EXPECT_EQ(read<Farewell>({u"run"_s, u"--confirm"_s, u"--detach"_s, u"go"_s}).status, 2);
}

TEST(CommandLine, AProgramHearsOfWrongWordsInItsOwnWay) {
    EXPECT_TRUE(read<Farewell>({u"run"_s, u"--json"_s}).output.startsWith(u"{\"reason\":\"usage\""_s));
    EXPECT_EQ(read<Farewell>({u"run"_s}).output, QString());
    EXPECT_EQ(read<Farewell>({u"run"_s, u"--wings"_s, u"--"_s, u"--json"_s}).output, QString());
}

TEST(CommandLine, ADashIsATask) {
    EXPECT_EQ(read<RunOptions>({u"run"_s, u"-"_s}).task, u"-"_s);
}

TEST(CommandLine, HelpIsACommandToo) {
    EXPECT_EQ(read<Farewell>({u"help"_s}).output, read<Farewell>({u"--help"_s}).output);
    EXPECT_EQ(read<Farewell>({u"help"_s, u"run"_s}).output, read<Farewell>({u"run"_s, u"--help"_s}).output);
    EXPECT_TRUE(read<Farewell>({u"help"_s, u"consent"_s, u"allow"_s}).output.contains(u"APP"_s));
    const auto unknown = read<Farewell>({u"help"_s, u"rnu"_s});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_TRUE(unknown.error.contains(u"\"rnu\""_s)) << unknown.error.toStdString();
}

TEST(CommandLine, TheHelpOfTheSettingsListsThem) {
    const auto help = read<Farewell>({u"settings"_s, u"--help"_s}).output;
    EXPECT_TRUE(help.contains(u"maxSteps"_s) && help.contains(u"most turns the agent may take"_s))
        << help.toStdString();
}

TEST(CommandLine, AResetNamesOneSetting) {
    EXPECT_TRUE(read<SettingsOptions>({u"settings"_s, u"--reset"_s, u"maxSteps"_s}).reset);
    EXPECT_EQ(read<Farewell>({u"settings"_s, u"--reset"_s}).status, 2);
    EXPECT_EQ(read<Farewell>({u"settings"_s, u"--reset"_s, u"maxSteps"_s, u"3"_s}).status, 2);
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
    for (const auto &word : {u"run"_s, u"test-claude"_s, u"settings"_s, u"doctor"_s, u"status"_s, u"ombru run \""_s})
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

TEST(CommandLine, TheApplicationWithoutAPanelIsNoCommandButAnOption) {
    read<HeadlessOptions>({u"--headless"_s});
    EXPECT_TRUE(read<Farewell>({u"--help"_s}).output.contains(u"ombru --headless "_s));
    EXPECT_EQ(read<Farewell>({u"--headless"_s, u"status"_s}).error, u"ombru --headless takes no command.\n"_s);
    EXPECT_TRUE(read<Farewell>({u"--headless"_s, u"fly"_s}).error.startsWith(u"\"fly\" is no command of ombru."_s));
}

TEST(CommandLine, WhatTheApplicationIsAskedFor) {
    EXPECT_TRUE(read<RunOptions>({u"run"_s, u"--detach"_s, u"go"_s}).detach);
    EXPECT_EQ(read<SignInOptions>({u"sign-in"_s, u"--server"_s, u"https://h"_s}).server, u"https://h"_s);
    EXPECT_FALSE(read<SignInOptions>({u"sign-in"_s}).server);
    read<SignOutOptions>({u"sign-out"_s});
    read<StopOptions>({u"stop"_s});
    read<NewSessionOptions>({u"new-session"_s});
    EXPECT_TRUE(read<ShareAudioOptions>({u"share-audio"_s, u"on"_s}).on);
    EXPECT_FALSE(read<ShareAudioOptions>({u"share-audio"_s, u"off"_s}).on);
    EXPECT_EQ(read<Farewell>({u"share-audio"_s, u"loud"_s}).status, 2);
    EXPECT_FALSE(read<UninstallOptions>({u"uninstall"_s}).purgeData);
    EXPECT_TRUE(read<UninstallOptions>({u"uninstall"_s, u"--purge-data"_s}).purgeData);
    EXPECT_TRUE(read<LogOptions>({u"log"_s, u"-f"_s}).follow);
    EXPECT_TRUE(read<LogOptions>({u"log"_s, u"--json"_s}).json);
    EXPECT_FALSE(read<PanelOptions>({u"panel"_s}).again);
}

TEST(CommandLine, AMistypedCommandIsNamedWithThoseThereAre) {
    const std::pair<QStringList, QString> cases[] = {
        {{u"statsu"_s},
         u"\"statsu\" is no command of ombru. ombru takes one of: run, test-claude, doctor, status, settings, "
         u"sign-in, sign-out, stop, new-session, share-audio, panel, log, consent, uninstall, help\n"_s},
        {{u"consent"_s, u"alow"_s, u"TextEdit"_s},
         u"\"alow\" is no command of ombru consent. ombru consent takes one of: list, allow, deny, forget\n"_s},
        {{u"consent"_s}, u"ombru consent takes one of: list, allow, deny, forget\n"_s},
        {{u"consent"_s, u"--for"_s, u"/bin/sh"_s}, u"ombru consent takes one of: list, allow, deny, forget\n"_s},
    };
    for (const auto &[arguments, expected] : cases) {
        const auto farewell = read<Farewell>(arguments);
        EXPECT_EQ(farewell.status, 2);
        EXPECT_EQ(farewell.error, expected) << farewell.error.toStdString();
    }
    const auto hostile = read<Farewell>({u"\033[2J"_s + QString(10'000, u'x')}).error;
    EXPECT_TRUE(hostile.startsWith(u"\"␛[2Jxxx"_s)) << hostile.left(80).toStdString();
    EXPECT_LT(hostile.size(), 250);
}

TEST(CommandLine, TheStatusIsForPeopleOrForPrograms) {
    EXPECT_FALSE(read<StatusOptions>({u"status"_s}).json);
    EXPECT_TRUE(read<StatusOptions>({u"status"_s, u"--json"_s}).json);
    EXPECT_EQ(read<Farewell>({u"status"_s, u"now"_s}).status, 2);
}

TEST(CommandLine, SettingsTakeAKeyAndAValueAndTheValueMayBeEmpty) {
    EXPECT_FALSE(read<SettingsOptions>({u"settings"_s}).key);
    EXPECT_EQ(read<SettingsOptions>({u"settings"_s, u"model"_s}).key, u"model"_s);
    EXPECT_EQ(read<SettingsOptions>({u"settings"_s, u"model"_s, u""_s}).value, QString(u""_s));
}

TEST(CommandLine, ConsentIsForApplicationsAndPerhapsForAnotherProgram) {
    using Action = ConsentOptions::Action;
    EXPECT_EQ(read<ConsentOptions>({u"consent"_s, u"list"_s}).action, Action::list);
    EXPECT_TRUE(read<ConsentOptions>({u"consent"_s, u"list"_s, u"--json"_s}).json);
    const auto allowed = read<ConsentOptions>({u"consent"_s, u"allow"_s, u"TextEdit"_s, u"System Events"_s});
    EXPECT_EQ(allowed.action, Action::allow);
    EXPECT_EQ(allowed.applications, QStringList({u"TextEdit"_s, u"System Events"_s}));
    EXPECT_FALSE(allowed.client || allowed.json);
    for (const auto &words : {QStringList{u"consent"_s, u"deny"_s, u"X"_s, u"--for"_s, u"/usr/bin/xterm"_s},
                              QStringList{u"consent"_s, u"--for"_s, u"/usr/bin/xterm"_s, u"deny"_s, u"X"_s}}) {
        const auto denied = read<ConsentOptions>(words);
        EXPECT_EQ(denied.action, Action::deny);
        EXPECT_EQ(denied.applications, QStringList(u"X"_s));
        EXPECT_EQ(denied.client, u"/usr/bin/xterm"_s);
    }
    EXPECT_EQ(read<ConsentOptions>({u"consent"_s, u"forget"_s, u"X"_s}).action, Action::forget);
}

TEST(CommandLine, ConsentWithoutAnActionOrAnApplicationIsToldSo) {
    for (const auto &words :
         {QStringList{u"consent"_s}, QStringList{u"consent"_s, u"allow"_s},
          QStringList{u"consent"_s, u"bless"_s, u"X"_s}, QStringList{u"consent"_s, u"allow"_s, u"X"_s, u"--json"_s}}) {
        const auto farewell = read<Farewell>(words);
        EXPECT_EQ(farewell.status, 2) << words.join(u' ').toStdString();
        EXPECT_FALSE(farewell.error.isEmpty());
    }
    const auto help = read<Farewell>({u"consent"_s, u"--help"_s});
    for (const auto &word : {u"list"_s, u"allow"_s, u"deny"_s, u"forget"_s, u"--for"_s, u"System Events"_s})
        EXPECT_TRUE(help.output.contains(word)) << word.toStdString();
}
