#include "service/store/Segment.h"

#include <gtest/gtest.h>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

const SegmentName NAME{QByteArray(16, 'a'), QByteArray(16, 'b')};

Entry line(qint64 number, const QString &text) {
    return {.computer = 7,
            .received = 9.5,
            .item = Item{.number = number,
                         .computer = 7,
                         .task = 3,
                         .step = 2,
                         .time = 8.25,
                         .kind = u"result"_s,
                         .text = text,
                         .cutFrom = 100}};
}
Entry picture(qint64 number) {
    return {.computer = 7,
            .received = 10,
            .tasks = {{.task = {.id = 3, .computer = 7, .text = u"go"_s, .from = u"web"_s, .began = 5, .steps = 3}}},
            .item = Item{.number = number, .computer = 7, .step = 3, .kind = u"picture"_s, .picture = 4},
            .jpeg = QByteArray("\xFF\xD8\xFF\0x", 5)};
}
Entry end() {
    return {.computer = 7,
            .received = 11,
            .tasks = {{.task = {.id = 3,
                                .computer = 7,
                                .text = u"go"_s,
                                .from = u"web"_s,
                                .began = 5,
                                .ended = 11,
                                .steps = 3,
                                .outcome = u"done"_s,
                                .answer = u"Grüße"_s},
                       .lost = true,
                       .begun = true},
                      {.task = {.id = 4}}}};
}

const std::vector<Entry> ENTRIES = {line(1, u"für 漢字"_s), picture(2), end(), line(3, {})};

// The file after each write: of the head, then of each entry.
std::vector<QByteArray> files() {
    std::vector<QByteArray> all{writtenHead(NAME)};
    for (const auto &entry : ENTRIES)
        all.push_back(all.back() + written(entry));
    return all;
}

std::vector<Entry> first(std::size_t count) {
    return {ENTRIES.begin(), ENTRIES.begin() + static_cast<std::ptrdiff_t>(count)};
}

TEST(Segment, WhatIsWrittenIsReadAgain) {
    const auto segment = readSegment(files().back());
    ASSERT_TRUE(segment && *segment);
    EXPECT_EQ((*segment)->name, NAME);
    EXPECT_EQ((*segment)->entries, ENTRIES);
}

TEST(Segment, OfOneThatWasCutWhatStandsBeforeIsRead) {
    const auto all = files();
    const auto &whole = all.back();
    for (qsizetype size = 0; size <= whole.size(); ++size) {
        const auto segment = readSegment(whole.first(size));
        ASSERT_TRUE(segment) << size;
        std::size_t count = 0;
        while (count + 1 < all.size() && all[count + 1].size() <= size)
            ++count;
        if (size < all.front().size())
            EXPECT_FALSE(*segment) << size;
        else
            EXPECT_EQ((*segment)->entries, first(count)) << size;
    }
}

TEST(Segment, AnEntryThatIsDamagedIsDroppedWithAllBehindIt) {
    const auto all = files();
    for (std::size_t entry = 1; entry < all.size(); ++entry) {
        auto damaged = all.back();
        damaged[all[entry].size() - 1] = static_cast<char>(damaged[all[entry].size() - 1] ^ 1);
        const auto segment = readSegment(damaged);
        ASSERT_TRUE(segment && *segment);
        EXPECT_EQ((*segment)->entries, first(entry - 1));
    }
}

TEST(Segment, WhatIsNoneOfOursIsSaid) {
    const auto why = [](const QByteArray &bytes) {
        const auto segment = readSegment(bytes);
        return segment ? QString() : segment.error().description;
    };
    EXPECT_EQ(why("garbage"), u"it is something else's"_s);
    EXPECT_EQ(why(QByteArray(4096, '\0')), u"it is something else's"_s);
    EXPECT_EQ(why("ombru journal 2\n" + QByteArray(100, 'x')), u"a newer ombru-service wrote it"_s);
    auto damaged = files().front();
    damaged[20] = 'x';
    EXPECT_EQ(why(damaged), u"it is damaged"_s);
}

TEST(Segment, NamesDiffer) {
    EXPECT_EQ(newName().size(), 16);
    EXPECT_NE(newName(), newName());
}

} // namespace
