// What ombru-secrets is asked and what it answers: one question a start. Plain C++.
//
//     ombru-secrets QUESTION [KEY]
//
// Without a key it is about all secrets of ours. The answer is a word and a line break on the standard output, and
// behind them what was looked up. It has a lifeline: base/Lifeline.h.
#pragma once

namespace ombru::secrets {

constexpr const char *READY = "ready";     // whether it can run at all: yes
constexpr const char *FIND = "find";       // whether the store has one, be it locked; asks the owner nothing
constexpr const char *LOOK_UP = "look-up"; // the secret, once the owner has unlocked it
constexpr const char *CLEAR = "clear";     // takes away what is not locked; asks the owner nothing
constexpr const char *REMOVE = "remove";   // takes away all, once the owner has unlocked it
constexpr const char *STORE = "store";     // reads it from the standard input: its length, a line break, and it

constexpr const char *YES = "yes";         // it is there; nothing is left; it is kept
constexpr const char *NO = "no";           // it is not
constexpr const char *UNKNOWN = "unknown"; // nobody can tell

} // namespace ombru::secrets
