// What a turn of the task loop costs by itself: the screen's picture for the model, the small one for the web page, and
// the messages that carry them. Against command-line tools that take, scale and encode the same screen.
#include "agent/Screen.h"
#include "bench/Race.h"
#include "tests/support/XServer.h"
#include "wire/AgentMessages.h"

#include <QCoreApplication>
#include <QDir>
#include <QJsonDocument>
#include <QTemporaryDir>

#include <cstdlib>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

constexpr int ROUNDS = 9;

void shell(const std::string &command) {
    if (std::system(command.c_str()) != 0)
        bench::fail("failed: " + command);
}

Task<QByteArray> turn(QString directory) {
    const auto shot = co_await Screen::capture(directory, 1);
    if (!shot)
        bench::fail(shot.error().description.toStdString());
    const auto preview = co_await Screen::previewJPEG(shot->picture);
    if (!preview)
        bench::fail("no preview");
    const QString head = u"Screenshot (step 1): %1\nImage size: %2x%3 px.\nScreen size: %4x%5 points."_s.arg(shot->file)
                             .arg(shot->size.width())
                             .arg(shot->size.height())
                             .arg(shot->points.width())
                             .arg(shot->points.height());
    co_return QJsonDocument(toJson(ScreenshotMessage{1, 0, *preview})).toJson(QJsonDocument::Compact) + head.toUtf8();
}

void raceOn(const QByteArray &size) {
    const test::XServer server(size + "x24");
    const test::Companion scene({QFile::encodeName(QCoreApplication::applicationDirPath()) + "/bench-scene", "%fd"},
                                "none: build bench-scene");
    const QTemporaryDir directory;
    const std::string shot = directory.filePath(u"shot.png"_s).toStdString();
    const std::string full = directory.filePath(u"full.png"_s).toStdString();
    const std::string preview = " && convert " + shot + " -resize '1280x1280>' -quality 60 " +
                                directory.filePath(u"preview.jpg"_s).toStdString();
    const std::string scale = " && convert " + full + " -resize 1568x1568 " + shot;
    bench::race("One turn's own work at " + size.toStdString(), ROUNDS,
                {{"ours", [&] { QCoro::waitFor(turn(directory.path())); }},
                 {"scrot + convert", [&] { shell("scrot -o " + full + scale + preview); }, 10},
                 {"maim + convert", [&] { shell("maim " + full + scale + preview); }, 10},
                 {"import (ImageMagick) + convert",
                  [&] { shell("import -window root -resize 1568x1568 " + shot + preview); }, 10}});
}

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    raceOn("1920x1080");
    raceOn("3024x1964");
}
