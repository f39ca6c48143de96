#include "service/prompts/Prompts.h"

#include "applescript/additions/Addition.h"
#include "applescript/additions/StandardAdditions.h"
#include "applescript/objects/anyapplication/AnyApplication.h"
#include "applescript/objects/systemevents/SystemEvents.h"
#include "tests/support/Wait.h"

#include <QFile>
#include <QRegularExpression>

#include <algorithm>

using namespace ombru;
using namespace ombru::applescript;
using namespace Qt::StringLiterals;

namespace {

QStringList quoted(const QString &text) {
    QStringList phrases;
    static const QRegularExpression QUOTED(u"`([^`]+)`"_s);
    for (const auto &each : QUOTED.globalMatch(text))
        phrases.append(each.captured(1));
    return phrases;
}

bool isRefused(const QString &words) {
    const auto refused = refusedAdditions().commands;
    return std::ranges::any_of(refused, [&](const Addition &each) { return each.words.name == words; });
}

// The words that a phrase of the prompt is made of, without an example's values.
QStringList wordsOf(const QString &phrase) {
    static const QRegularExpression VALUES(u"\\s*(at )?\\{.*\\}"_s);
    if (phrase.startsWith(u"using {"_s))
        return phrase.sliced(7).chopped(1).split(u", "_s);
    return {QString(phrase).remove(VALUES)};
}

bool isKnown(const QString &words) {
    if (standardAddition(words))
        return !isRefused(words);
    static const Dictionary everywhere = [] {
        Dictionary made;
        addEverywhereWords(made);
        return made;
    }();
    const auto tokens = tokenize(words);
    return std::ranges::any_of(std::array{&everywhere, &standardSuite(), &systemEventsWords()},
                               [&](const Dictionary *dictionary) {
                                   const auto match = dictionary->longest(tokens);
                                   return match.term && match.length >= static_cast<std::size_t>(words.count(u' ') + 1);
                               });
}

TEST(Prompts, ThePlatformIsWhatTheComputerCallsItself) {
    EXPECT_EQ(platformOf("ombru/0.1.0 (Linux; x86_64)"), u"linux"_s);
    EXPECT_EQ(platformOf("ombru/0.1.0 (macOS; arm64)"), u"macos"_s);
    EXPECT_EQ(platformOf("ombru/1 CFNetwork/1490.0.4 Darwin/23.2.0"), u"macos"_s) << "as the system says it";
    for (const auto *other : {"", "ombru/0.1.0", "Mozilla/5.0 (X11; Linux x86_64)", "ombru/1 (Plan 9; mips)"})
        EXPECT_EQ(platformOf(other), u"other"_s) << other;
}

TEST(Prompts, EachSystemsHasTheRuleForTheEnd) {
    for (const auto &platform : {u"linux"_s, u"macos"_s, u"other"_s})
        EXPECT_TRUE(defaultPrompt(platform).contains(u"Start that message with DONE:"_s)) << platform.toStdString();
}

TEST(Prompts, ThatOfMacOSIsTheComputersOwn) {
    QFile file(qEnvironmentVariable("OMBRU_SOURCE") + u"/tests/controller/texts/fallback-prompt.txt"_s);
    ASSERT_TRUE(file.open(QFile::ReadOnly));
    EXPECT_EQ(defaultPrompt(u"macos"_s), QString::fromUtf8(file.readAll()).trimmed());
}

TEST(Prompts, ThatOfASystemThatIsNotKnownNamesNone) {
    const auto prompt = defaultPrompt(platformOf("Mozilla/5.0 (X11; FreeBSD amd64)"));
    EXPECT_TRUE(prompt.contains(u"AppleScript"_s) && prompt.contains(u"Read tool"_s));
    for (const auto &system : {u"macOS"_s, u"Linux"_s, u"X11"_s})
        EXPECT_FALSE(prompt.contains(system)) << system.toStdString();
}

TEST(Prompts, WhatTheLinuxOneNamesIsThereOnLinux) {
    const auto prompt = defaultPrompt(u"linux"_s);
    const auto section = prompt.sliced(prompt.indexOf(u"What scripts can use here:"_s));
    const auto missing = section.sliced(section.indexOf(u"There is no `say`"_s));
    const auto refused = quoted(missing.first(missing.indexOf(u'\n')));
    EXPECT_EQ(refused.size(), 3);
    for (const auto &phrase : quoted(section)) {
        if (refused.contains(phrase)) {
            EXPECT_TRUE(isRefused(phrase)) << phrase.toStdString() << " is there";
            continue;
        }
        for (const auto &words : wordsOf(phrase))
            EXPECT_TRUE(isKnown(words)) << words.toStdString();
    }
}

} // namespace
