// What an owner can set for a computer, with the values it has when nothing was set; and as JSON, both ways. Pure.
#pragma once
#include "base/Failure.h"
#include "service/store/Records.h"

#include <QJsonObject>

namespace ombru {

QString textOf(const ComputerFields &fields, ComputerField field);
bool isOn(const ComputerFields &fields, ComputerField field);

// As the page is shown them: the speech key is not.
QJsonObject settingsJson(const ComputerFields &fields, const ComputerRecord &computer, const QString &defaultPrompt);

// What the page writes. A Failure, whose description says which is wrong, when one of them is not what it must be.
Result<std::map<ComputerField, QString>> settingsFrom(const QJsonObject &json);

} // namespace ombru
