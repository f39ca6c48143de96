// What nearly every source includes, compiled once. Sources still include what they use.
#include <QByteArray>
#include <QString>
#include <QStringList>
#include <algorithm>
#include <chrono>
#include <expected>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <variant>
#include <vector>
