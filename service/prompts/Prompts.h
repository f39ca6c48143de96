// What a computer's agent is told when its owner says nothing else, by the computer's system. Any thread.
#pragma once
#include <QString>

namespace ombru {

// "linux", "macos" or "other", from what a computer calls itself: "ombru/0.1.0 (Linux; x86_64)".
QString platformOf(QByteArrayView userAgent);

// There is one for each of those: a computer keeps the last one that it was given, so that nothing would leave it what
// an owner has taken back.
QString defaultPrompt(const QString &platform);

} // namespace ombru
