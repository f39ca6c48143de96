// Why a tool did not do what it was run for, in words for its owner: what is so, and what to do. Any thread, but reads
// the tool's file where a start failed.
#pragma once
#include "agent/RunCollecting.h"

namespace ombru {

// "signal 9: something killed it, often for want of memory"
QString signalText(int signal);

// Of one that could not be started, or had to be ended: a Failure of runCollecting() or collectWithin().
QString startTrouble(const QString &program, const Failure &why);

// Of one that ended and did not answer; `wanted` says what it should have printed: "its help".
QString answerTrouble(const QString &program, const Collected &collected, const QString &wanted);

// Of one whose answer should have been a JSON object. Empty where its own words say it.
QString replyTrouble(const QString &program, const Collected &collected);

} // namespace ombru
