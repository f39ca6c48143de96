#include "base/PictureFile.h"

#include <QDir>
#include <QFile>
#include <QSize>
#include <QTemporaryDir>
#include <QtEndian>

#include <csignal>
#include <gtest/gtest.h>
#include <random>
#include <sys/resource.h>
#include <sys/stat.h>
#include <turbojpeg.h>
#include <zlib.h>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

Picture noise(int width, int height) {
    std::mt19937 random(3);
    const auto pixels = std::make_shared<std::uint32_t[]>(static_cast<std::size_t>(width) * height);
    for (std::size_t i = 0; i < static_cast<std::size_t>(width) * height; ++i)
        pixels[i] = static_cast<std::uint32_t>(random());
    return {width, height, pixels};
}

QByteArray contents(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void write(const QString &path, const QByteArray &bytes) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

// What one process may write at most into one file, as a full disk would have it.
class FileLimit {
public:
    explicit FileLimit(rlim_t bytes) : m_signal(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit now{bytes, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &now);
    }
    ~FileLimit() {
        setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_signal);
    }
    FileLimit(const FileLimit &) = delete;
    FileLimit &operator=(const FileLimit &) = delete;

private:
    rlimit m_before{};
    void (*m_signal)(int);
};

class PictureFile : public testing::Test {
protected:
    QString path(const QString &name) const { return m_directory.filePath(name); }
    QStringList entries() const { return QDir(m_directory.path()).entryList(QDir::Files | QDir::Hidden); }

    QTemporaryDir m_directory;
};

} // namespace

TEST_F(PictureFile, APictureComesBackAsItWas) {
    for (const QSize size : {QSize(157, 101), QSize(1, 1), QSize(1, 40), QSize(40, 1)}) {
        const Picture picture = noise(size.width(), size.height());
        const auto png = encodePng(picture);
        ASSERT_TRUE(png);
        ASSERT_TRUE(writeWholeFile(path(u"a.png"_s), *png));
        const auto back = readPng(path(u"a.png"_s));
        ASSERT_TRUE(back);
        ASSERT_EQ(QSize(back->width, back->height), size);
        for (int y = 0; y < back->height; ++y)
            for (int x = 0; x < back->width; ++x)
                ASSERT_EQ(back->row(y)[x] & 0xffffff, picture.row(y)[x] & 0xffffff);
    }
}

TEST_F(PictureFile, WhatIsNoWholePngIsNone) {
    const QByteArray png = *encodePng(noise(60, 60));
    EXPECT_FALSE(readPng(path(u"missing.png"_s)));
    EXPECT_FALSE(readPng(m_directory.path()));
    const std::vector<std::pair<QString, QByteArray>> bad{
        {u"empty"_s, {}},
        {u"garbage"_s, QByteArray(5000, 'x')},
        {u"signature"_s, png.first(8)},
        {u"head"_s, png.first(40)},
        {u"half"_s, png.first(png.size() / 2)},
        {u"damaged"_s, QByteArray(png).replace(png.size() / 2, 4, "\0\xff\0\xff")},
    };
    for (const auto &[name, bytes] : bad) {
        write(path(name), bytes);
        EXPECT_FALSE(readPng(path(name))) << name.toStdString();
    }
}

TEST_F(PictureFile, APngThatClaimsToBeEnormousIsNone) {
    for (const char *size : {"0000800000000001", "0000000100008000", "00007fff00007fff"}) {
        QByteArray png = *encodePng(noise(10, 10));
        png.replace(16, 8, QByteArray::fromHex(size));
        // With a right checksum, so that only the size is wrong with the header.
        const auto sum = static_cast<quint32>(crc32(0, reinterpret_cast<const Bytef *>(png.constData() + 12), 17));
        qToBigEndian(sum, png.data() + 29);
        write(path(u"huge.png"_s), png);
        EXPECT_FALSE(readPng(path(u"huge.png"_s)));
    }
}

TEST_F(PictureFile, JpegHasThePicturesSizeAndGrowsWithQuality) {
    const Picture picture = noise(333, 222);
    const auto low = encodeJpeg(picture, 0.2);
    const auto high = encodeJpeg(picture, 0.9);
    ASSERT_TRUE(low && high);
    EXPECT_LT(low->size(), high->size());
    const std::unique_ptr<void, int (*)(tjhandle)> decoder(tjInitDecompress(), tjDestroy);
    int width = 0;
    int height = 0;
    int sampling = 0;
    ASSERT_EQ(tjDecompressHeader2(decoder.get(), reinterpret_cast<unsigned char *>(const_cast<char *>(low->data())),
                                  static_cast<unsigned long>(low->size()), &width, &height, &sampling),
              0);
    EXPECT_EQ(QSize(width, height), QSize(333, 222));
}

TEST_F(PictureFile, JpegOfWhatItCannotHoldIsNone) {
    EXPECT_FALSE(encodeJpeg({}, 0.6));
    EXPECT_FALSE(encodeJpeg(noise(70000, 1), 0.6));
    EXPECT_TRUE(encodeJpeg(noise(10, 10), 7));
    EXPECT_TRUE(encodeJpeg(noise(10, 10), -7));
}

TEST_F(PictureFile, AFileReplacesTheOneBeforeAndIsTheOwnersAlone) {
    ASSERT_TRUE(writeWholeFile(path(u"a"_s), "first"));
    ASSERT_TRUE(writeWholeFile(path(u"a"_s), "second"));
    EXPECT_EQ(contents(path(u"a"_s)), "second");
    EXPECT_EQ(entries(), QStringList{u"a"_s});
    struct stat info{};
    ASSERT_EQ(stat(path(u"a"_s).toLocal8Bit().constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600U);
}

TEST_F(PictureFile, AFullDiskLeavesTheOldFileAndNoPartOfTheNew) {
    ASSERT_TRUE(writeWholeFile(path(u"a"_s), "old"));
    {
        const FileLimit limit(4096);
        const auto written = writeWholeFile(path(u"a"_s), QByteArray(100'000, 'x'));
        ASSERT_FALSE(written);
        EXPECT_EQ(written.error().domain, u"file"_s);
        EXPECT_EQ(written.error().code, EFBIG);
        EXPECT_TRUE(written.error().description.contains(path(u"a"_s)));
    }
    EXPECT_EQ(contents(path(u"a"_s)), "old");
    EXPECT_EQ(entries(), QStringList{u"a"_s});
}

TEST_F(PictureFile, ADirectoryThatIsNotThereIsAFailure) {
    const auto written = writeWholeFile(path(u"nowhere/a"_s), "x");
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error().code, ENOENT);
}

TEST_F(PictureFile, ADirectoryInTheFilesPlaceIsAFailureThatLeavesNothing) {
    ASSERT_TRUE(QDir(m_directory.path()).mkpath(u"a/b"_s));
    EXPECT_FALSE(writeWholeFile(path(u"a"_s), "x"));
    EXPECT_TRUE(entries().isEmpty());
}
