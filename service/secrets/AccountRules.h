// What an account's address and password may be: none when it is all right, else why not. Pure.
#pragma once
#include <QString>

#include <optional>

namespace ombru {

constexpr qsizetype LONGEST_PASSWORD = 1000; // characters

std::optional<QString> unfitAddress(const QString &email);
std::optional<QString> unfitPassword(const QString &password);

} // namespace ombru
