// How osascript and its dialog program talk: one JSON object on the program's standard input, one on its standard
// output. Pure functions, any thread. A Failure (domain "dialog") names the field that is wrong.
//
//     request  {"kind": "dialog" | "alert", "text": ..., "message": ..., "title": ...,
//               "icon": "none" | "note" | "caution" | "stop", "buttons": [...], "defaultButton": index or -1,
//               "cancelButton": index or -1, "defaultText": ... or absent, "hiddenText": bool, "givingUpAfter":
//               seconds}
//     answer   {"button": index or -1, "text": ..., "gaveUp": bool}
#pragma once
#include "applescript/host/Dialogs.h"

namespace ombru {

QByteArray toJson(const applescript::DialogRequest &request);
QByteArray toJson(const applescript::DialogAnswer &answer);
Result<applescript::DialogRequest> dialogRequest(const QByteArray &json);
Result<applescript::DialogAnswer> dialogAnswer(const QByteArray &json);

} // namespace ombru
