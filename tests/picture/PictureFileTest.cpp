#include "picture/PictureFile.h"

#include "base/WholeFile.h"

#include <QFile>
#include <QSize>
#include <QTemporaryDir>
#include <QtEndian>

#include <gtest/gtest.h>
#include <random>
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

void write(const QString &path, const QByteArray &bytes) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

class PictureFile : public testing::Test {
protected:
    QString path(const QString &name) const { return m_directory.filePath(name); }

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

TEST_F(PictureFile, TheQualityOfAJpegIsPartOfAHundred) {
    // The first step of its brightness table: 16 in the standard's, which is made for a quality of 50.
    const auto step = [](double quality) {
        const auto jpeg = *encodeJpeg(noise(16, 16), quality);
        return int(jpeg[jpeg.indexOf("\xff\xdb") + 5]);
    };
    EXPECT_EQ(step(0.5), 16);
    EXPECT_EQ(step(0.6), 13);
    EXPECT_EQ(step(0.9), 3);
    EXPECT_EQ(step(1), 1);
}

TEST_F(PictureFile, JpegOfWhatItCannotHoldIsNone) {
    EXPECT_FALSE(encodeJpeg({}, 0.6));
    EXPECT_FALSE(encodeJpeg(noise(70000, 1), 0.6));
    EXPECT_TRUE(encodeJpeg(noise(10, 10), 7));
    EXPECT_TRUE(encodeJpeg(noise(10, 10), -7));
}
