// Values as text, and as other classes.
#include "applescript/values/Format.h"

#include "applescript/values/Coercion.h"
#include "applescript/values/Errors.h"
#include "applescript/values/Specifier.h"
#include "applescript/values/Stack.h"

#include <gtest/gtest.h>

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

class FormatTest : public testing::Test {
protected:
    static std::string plain(const Value &value) { return formatPlain(value).toStdString(); }
    static std::string source(const Value &value) { return formatSource(value).toStdString(); }
    static std::string real(double number) { return formatReal(number).toStdString(); }

    // The value as that class in source form, or the error.
    static std::string as(const Value &value, const QString &type) {
        try {
            return source(coerce(value, type, {}));
        } catch (const ScriptError &error) {
            return u"%1 (%2)"_s.arg(error.message).arg(error.number).toStdString();
        }
    }
    static std::string date(const QString &text) {
        const auto made = parseDate(text, QDateTime(QDate(2026, 11, 20), QTime(23, 29, 52)));
        return made ? made->toString(Qt::ISODate).toStdString() : "none";
    }

    const HeapScope m_heap;
    const StackScope m_stack;
};

const Value MARCH = Value(Constant{u"March"_s});

Value mixedList() {
    return Value::list({Value(1), Value(u"a \"b\""_s), Value(true), Value::list({Value(2.5)})});
}

} // namespace

// --- text ---

TEST_F(FormatTest, RealsShowTwelvePlacesOrTheirExponent) {
    EXPECT_EQ(real(0), "0.0");
    EXPECT_EQ(real(-2.5), "-2.5");
    EXPECT_EQ(real(1.0 / 3), "0.333333333333");
    EXPECT_EQ(real(9999.5), "9999.5");
    EXPECT_EQ(real(10000), "1.0E+4");
    EXPECT_EQ(real(0.001), "1.0E-3");
    EXPECT_EQ(real(-1.25e-10), "-1.25E-10");
    EXPECT_EQ(real(HUGE_VAL), "INF");
}

TEST_F(FormatTest, ListsAreFlatForReadersAndWholeAsSource) {
    EXPECT_EQ(plain(mixedList()), "1, a \"b\", true, 2.5");
    EXPECT_EQ(source(mixedList()), "{1, \"a \\\"b\\\"\", true, {2.5}}");
    EXPECT_EQ(source(Value::list({})), "{}");
    EXPECT_EQ(plain(Value::list({})), "");
}

TEST_F(FormatTest, SourceTextIsEscaped) {
    EXPECT_EQ(source(u"a\\b\n\r\t👍"_s), "\"a\\\\b\\n\\r\\t👍\"");
}

TEST_F(FormatTest, RecordsQuoteLabelsThatAreNoWords) {
    const auto record = Value::record({{Name(u"plain"_s), Value(1)}, {Name(u"a-b"_s), Value(u"x"_s)}});
    EXPECT_EQ(source(record), "{plain:1, |a-b|:\"x\"}");
    EXPECT_EQ(plain(record), "plain:1, |a-b|:x");
}

TEST_F(FormatTest, DatesFilesAndConstantsHaveTheLanguagesOwnForm) {
    const auto date = Value::date(QDateTime(QDate(2026, 11, 20), QTime(0, 5, 9)));
    EXPECT_EQ(plain(date), "date Friday, November 20, 2026 at 12:05:09 AM");
    EXPECT_EQ(source(date), "date \"Friday, November 20, 2026 at 12:05:09 AM\"");
    EXPECT_EQ(source(FileReference{FileReference::Kind::alias, u"/a/b.txt"_s}), "alias \"Macintosh HD:a:b.txt\"");
    EXPECT_EQ(plain(FileReference{FileReference::Kind::file, u"/a/"_s}), "file Macintosh HD:a:");
    EXPECT_EQ(source(Value::missing()), "missing value");
    EXPECT_EQ(source(ClassName{u"text"_s}), "text");
    EXPECT_EQ(source(RawCode{u"class cwin"_s}), "«class cwin»");
    EXPECT_EQ(source(Value()), "");
}

TEST_F(FormatTest, ReferencesNameTheirContainers) {
    Specifier process;
    process.form = Specifier::Form::named;
    process.name = u"process"_s;
    process.key = u"Rain"_s;
    process.container = applicationValue({u"com.apple.systemevents"_s, u"System Events"_s, {}});
    Specifier window;
    window.form = Specifier::Form::index;
    window.name = u"window"_s;
    window.key = 1;
    window.container = Value::specifier(process);
    EXPECT_EQ(source(propertyOf(u"name"_s, Value::specifier(window))),
              "name of window 1 of process \"Rain\" of application \"System Events\"");
    EXPECT_EQ(formatReference(window, false).toStdString(), "window 1 of process \"Rain\"");
}

// --- other classes ---

TEST_F(FormatTest, TextBecomesANumberWhenItIsOne) {
    EXPECT_EQ(as(u" 42 "_s, u"integer"_s), "42");
    EXPECT_EQ(as(u"1.5"_s, u"number"_s), "1.5");
    EXPECT_EQ(as(u"2.5"_s, u"integer"_s), "2") << "halves go to the even number";
    EXPECT_EQ(as(u"3.5"_s, u"integer"_s), "4");
    EXPECT_EQ(as(u"600000000"_s, u"integer"_s), "6.0E+8") << "integers end at 2^29 - 1";
    EXPECT_EQ(as(u"two 👍"_s, u"number"_s), "Can’t make \"two 👍\" into type number. (-1700)");
    EXPECT_EQ(as(u""_s, u"integer"_s), "Can’t make \"\" into type integer. (-1700)");
    EXPECT_EQ(as(u"nan"_s, u"number"_s), "Can’t make \"nan\" into type number. (-1700)");
}

TEST_F(FormatTest, TextAndNumbersBecomeBooleans) {
    EXPECT_EQ(as(u"TRUE"_s, u"boolean"_s), "true");
    EXPECT_EQ(as(0, u"boolean"_s), "false");
    EXPECT_EQ(as(u"yes"_s, u"boolean"_s), "Can’t make \"yes\" into type boolean. (-1700)");
}

TEST_F(FormatTest, ListsBecomeTextAndLonelyItems) {
    EXPECT_EQ(as(mixedList(), u"text"_s), "\"1a \\\"b\\\"true2.5\"");
    EXPECT_EQ(as(Value::list({Value(u"7"_s)}), u"integer"_s), "7");
    EXPECT_EQ(as(Value::list({Value(1), Value(2)}), u"integer"_s), "Can’t make {1, 2} into type integer. (-1700)");
    EXPECT_EQ(as(5, u"list"_s), "{5}");
    EXPECT_EQ(as(Value::record({{Name(u"a"_s), Value(1)}}), u"list"_s), "{1}");
    EXPECT_EQ(as(Value::record({{Name(u"a"_s), Value(1)}}), u"text"_s), "Can’t make {a:1} into type text. (-1700)");
}

TEST_F(FormatTest, MonthsHaveTheirNumber) {
    EXPECT_EQ(as(MARCH, u"integer"_s), "3");
    EXPECT_EQ(as(MARCH, u"text"_s), "\"March\"");
    EXPECT_EQ(as(Value::missing(), u"integer"_s), "Can’t make missing value into type integer. (-1700)");
}

TEST_F(FormatTest, PathsBecomeFilesInBothSpellings) {
    EXPECT_EQ(as(u"/a/b"_s, u"POSIX file"_s), "file \"Macintosh HD:a:b\"");
    EXPECT_EQ(as(u"Macintosh HD:a:b"_s, u"alias"_s), "alias \"Macintosh HD:a:b\"");
    EXPECT_EQ(fromColonPath(u"Macintosh HD:a:b"_s), u"/a/b"_s);
    EXPECT_EQ(toColonPath(u"/a/b"_s), u"Macintosh HD:a:b"_s);
}

// --- dates ---

TEST_F(FormatTest, DatesAreReadAsPeopleWriteThem) {
    EXPECT_EQ(date(u"2026-03-05T14:30:00"_s), "2026-03-05T14:30:00");
    EXPECT_EQ(date(u"3/5/26"_s), "2026-03-05T00:00:00");
    EXPECT_EQ(date(u"3/5"_s), "2026-03-05T00:00:00");
    EXPECT_EQ(date(u"Thursday, March 5, 2026 at 2:30:10 PM"_s), "2026-03-05T14:30:10");
    EXPECT_EQ(date(u"5 mar"_s), "2026-03-05T00:00:00");
    EXPECT_EQ(date(u"12:05 AM"_s), "2026-11-20T00:05:00");
    EXPECT_EQ(date(u"7:15"_s), "2026-11-20T07:15:00");
}

TEST_F(FormatTest, WhatIsNoDateIsNone) {
    for (const auto &text : {u""_s, u"tomorrow"_s, u"at"_s, u"Friday"_s, u"13/40/2026"_s, u"25:00"_s, u"March"_s})
        EXPECT_EQ(date(text), "none") << text.toStdString();
}

} // namespace ombru::applescript
