// A speech service to try calls with by hand: ombru-speech-stand-in PORT UTTERANCE...
//
// It speaks with espeak-ng. It hears that somebody talks, not what: each utterance, of whichever caller, is the next of
// those given, and none once they are used up. It prints what it hears and what it says.
#include "tests/support/SpeechService.h"

#include <QCoreApplication>
#include <QTextStream>

using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

void print(const QString &line) {
    QTextStream(stdout) << line << Qt::endl;
}

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    const auto arguments = QCoreApplication::arguments();
    SpeechService service(SpeechService::Voice::speech, static_cast<quint16>(arguments.value(1).toInt()));
    service.utterances = arguments.sliced(std::min(qsizetype(2), arguments.size()));
    service.misbehave = [](const AccountRequest &request) -> std::optional<AccountReply> {
        print(u"says: "_s + request.json()[u"text"_s].toString());
        return {};
    };
    const auto hear = service.onAudio;
    service.onAudio = [&service, hear](SpeechService::Listener &listener) {
        const auto left = service.utterances;
        hear(listener);
        if (service.utterances != left)
            print(u"heard: "_s + left.first());
    };
    print(u"listens on "_s + service.base());
    return QCoreApplication::exec();
}
