#include "applescript/run/Invocation.h"

#include "applescript/syntax/Ast.h"
#include "applescript/values/Coercion.h"
#include "applescript/values/Errors.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

const QString &Invocation::name() const {
    return m_command.name;
}

bool Invocation::hasDirect() const {
    return m_command.direct != nullptr;
}

Value Invocation::direct() const {
    if (!m_command.direct)
        throw ScriptError{error::MISSING_PARAMETER, u"The direct parameter is missing for %1."_s.arg(m_command.name)};
    return m_context.data(*m_command.direct);
}

std::optional<Value> Invocation::parameter(QStringView label) const {
    for (const auto &[name, value] : m_command.parameters) {
        if (name == label)
            return m_context.data(*value);
    }
    return std::nullopt;
}

bool Invocation::flag(QStringView label, bool standard) const {
    const auto value = parameter(label);
    return value ? toBoolean(*value, rules()) : standard;
}

QString Invocation::text(QStringView label) const {
    const auto value = parameter(label);
    return value ? toText(*value, rules()) : QString();
}

Value Invocation::asWanted(const Value &result) const {
    const auto type = parameter(u"as");
    const auto *wanted = type ? type->as<ClassName>() : nullptr;
    return wanted ? coerce(result, wanted->name, rules()) : result;
}

} // namespace ombru::applescript
