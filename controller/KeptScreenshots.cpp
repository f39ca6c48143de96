#include "controller/KeptScreenshots.h"

#include "base/Clock.h"
#include "platform/SystemLog.h"

#include <QFile>
#include <QRegularExpression>

#include <filesystem>
#include <optional>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

namespace fs = std::filesystem;

constexpr double DAY = 24 * 60 * 60; // seconds
constexpr double A_TURN = 60 * 60;   // no task needs a picture for longer

// The time in the name of a screenshot, in seconds since 1970; none for another file.
std::optional<double> timeInName(const QString &name) {
    static const QRegularExpression form(u"^shot_(\\d{1,15})_\\d{3,9}\\.png$"_s);
    const auto match = form.match(name);
    return match.hasMatch() ? std::optional(match.captured(1).toDouble()) : std::nullopt;
}

void complain(const fs::path &path, const std::error_code &error) {
    logger::error(
        u"screenshots: %1: %2"_s.arg(QFile::decodeName(path.c_str()), QString::fromStdString(error.message())));
}

} // namespace

// Another task may be at work on another desktop, and need its own.
void removeScreenshots(const QString &directory, int days, const QStringList &ofTask) {
    const double oldest = Clock::unixSeconds() - (days > 0 ? days * DAY : A_TURN);
    std::error_code error;
    fs::directory_iterator files(QFile::encodeName(directory).toStdString(), error);
    if (error == std::errc::no_such_file_or_directory)
        return;
    for (const auto end = fs::directory_iterator(); !error && files != end; files.increment(error)) {
        const auto path = files->path();
        const auto time = timeInName(QFile::decodeName(path.filename().c_str()));
        const bool wanted = time && *time >= oldest && !(days == 0 && ofTask.contains(QFile::decodeName(path.c_str())));
        std::error_code failure;
        if (!time || wanted || !fs::is_regular_file(files->symlink_status(failure)))
            continue;
        if (!fs::remove(path, failure) && failure)
            complain(path, failure);
    }
    if (error)
        complain(QFile::encodeName(directory).toStdString(), error);
}

} // namespace ombru
