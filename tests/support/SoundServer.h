// A real sound server of a test's own, which makes no noise, ended with the object; see sound-server. While it lives
// the environment names it. Its outputs are "speakers", which everybody gets, and "headphones".
#pragma once
#include "tests/support/Companion.h"
#include "tests/support/Tone.h"
#include "tests/support/Variable.h"

#include <QFile>
#include <QTemporaryDir>

#include <csignal>
#include <cstdlib>

namespace ombru::test {

class SoundServer {
public:
    enum class Kind { pulseAudio, pipeWire };

    // In that directory, where one may have been before: it has the same address.
    explicit SoundServer(const QTemporaryDir &directory, Kind kind = Kind::pulseAudio)
        : m_directory(QFile::encodeName(directory.path())),
          m_daemon({qgetenv("OMBRU_SOURCE") + "/tests/support/sound-server", m_directory, "%fd",
                    kind == Kind::pipeWire ? "pipewire" : ""},
                   kind == Kind::pipeWire ? "pipewire, pipewire-pulse, wireplumber, pulseaudio-utils"
                                          : "pulseaudio, pulseaudio-utils"),
          m_home("HOME", m_directory), m_address("PULSE_SERVER", "unix:" + m_directory + "/pulse.sock") {}

    void signal(int number) const { m_daemon.signal(number); }
    void end(int number) { m_daemon.end(number); }

    // By other programs: whether they succeeded.
    bool control(const QByteArray &command) const { return run("pactl " + command); }
    // Until all of it has been played.
    bool play(const Tone &tone, const QByteArray &output = "speakers") const {
        QFile file(QFile::decodeName(m_directory + "/tone"));
        const auto sound = tone.sound();
        if (!file.open(QFile::WriteOnly))
            return false;
        // Of what begins to play, the monitor misses as much as it had rendered ahead: silence, that is.
        file.write(QByteArray(tone.rate / 2 * static_cast<qsizetype>(sizeof(float)), 0));
        file.write(reinterpret_cast<const char *>(sound.data()), static_cast<qint64>(sound.size() * sizeof(float)));
        file.close();
        // All of it is with the server before it begins, so that no busy machine makes a gap.
        return run("pacat --playback --raw --format=float32ne --channels=1 --latency-msec=60000 --rate=" +
                   QByteArray::number(tone.rate) + " --device=" + output + ' ' + m_directory + "/tone");
    }

private:
    static bool run(const QByteArray &command) { return std::system((command + " >/dev/null 2>&1").constData()) == 0; }

    QByteArray m_directory;
    Companion m_daemon;
    Variable m_home;
    Variable m_address;
};

} // namespace ombru::test
