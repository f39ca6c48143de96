// What the help of each command ends with: examples, and what an option's one line cannot say. Plain texts.
#pragma once

namespace ombru {

inline constexpr auto EXAMPLES = R"(
Examples:
  ombru run "open the text editor and write a haiku about rain into it"
  ombru run --max-steps 5 "what is on my screen?"
  ombru doctor                     say what works and what to do about the rest
  ombru status                     say what ombru may do, and what is left to allow
  ombru settings                   list every setting with its value
  ombru settings maxSteps 30       change one
  ombru consent list               which applications scripts may control
  ombru consent allow TextEdit     be asked whether they may
  ombru --headless                 stay, and take tasks from the web page of your account

While a task runs, Ctrl-C ends it, and Ctrl-Z stops it until fg or bg. The agent sees your screen
and types for you: watch it.)";

inline constexpr auto RUN_NOTES = R"(
Examples:
  ombru run "open the text editor and write a haiku about rain into it"
  ombru run --continue "now save it on the desktop"
  ombru run --confirm "tidy up my desktop"
  ombru run - <task.txt
  ombru run --json "what is on my screen?" | jq -r 'select(.type == "end").answer'

The event log is printed as it grows. Without the application each task begins a new conversation, unless --continue is
given; in the application tasks go on with the last one, unless --fresh is given. Exit status: 0 when the agent said that
it is done, 3 when it answered something else (it asks, or could not), 1 when the task failed or ran out of steps, and
130 after Ctrl-C. A line of --json has type, time (seconds since 1970), step, and what its type has; the last one is of the
type end, error or detached. Needs a desktop session, and the claude tool installed and signed in (`ombru doctor` tells).)";

inline constexpr auto CONSENT_NOTES = R"(
Examples:
  ombru consent list
  ombru consent allow TextEdit "System Events"
  ombru consent deny Mail
  ombru consent forget Mail

APP is an application's name as its menu shows it ("Text Editor"), a name that scripts use (TextEdit, "System Events" for
keys and clicks), or its identifier. A decision is for the scripts that ombru runs; --for PROGRAM makes it for those that
another program runs, given by its full path (/usr/bin/xterm). Exit status: 0 done, 1 the record of decisions cannot be
used or nobody could be asked, 2 no such application.)";

inline constexpr auto DOCTOR_NOTES = R"(
Examples:
  ombru doctor                     what works, what does not, and what to do about it

Exit status: 0 when a task can run, 1 when something that a task needs is missing.)";

inline constexpr auto STATUS_NOTES = R"(
Examples:
  ombru status                     for you
  ombru status --json | jq .setup  for a program)";

inline constexpr auto SIGN_IN_NOTES = R"(
Examples:
  ombru sign-in                                     at the service that the setting serverURL names
  ombru sign-in --server https://ombru.example      at this one, from now on

It shows a code and opens the page where you approve it; Ctrl-C gives up.)";

inline constexpr auto LOG_NOTES = R"(
Examples:
  ombru log                        what has happened lately
  ombru log -f                     and what happens now
  ombru log --json | jq -r .text   for a program)";

inline constexpr auto SETTINGS_EXAMPLES = R"(
Examples:
  ombru settings                   list every setting with its value
  ombru settings maxSteps          read one
  ombru settings maxSteps 30       change it
  ombru settings --reset maxSteps  give it its default

Settings:
)";

} // namespace ombru
