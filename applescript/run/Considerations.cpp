#include "applescript/run/Considerations.h"

#include "applescript/values/Coercion.h"

namespace ombru::applescript {

void Considerations::setDelimiters(const Value &value, Context &context) {
    const Value followed = context.follow(value);
    QStringList delimiters;
    if (const auto *list = followed.as<ListPtr>()) {
        for (const auto &item : (*list)->items)
            delimiters.append(toText(context.follow(item), m_rules));
    } else {
        delimiters.append(followed.isMissing() ? QString() : toText(followed, m_rules));
    }
    if (delimiters.isEmpty())
        delimiters.append(QString());
    m_delimiters = followed;
    m_rules.delimiters = delimiters;
}

const std::vector<Span> &Considerations::spansOf(const QString &text, const QString &kind) {
    const bool known = m_elements.kind == kind && m_elements.considered == m_rules.considered &&
                       m_elements.delimiters == m_rules.delimiters && m_elements.text.size() == text.size() &&
                       (m_elements.text.constData() == text.constData() || m_elements.text == text);
    if (!known)
        m_elements = {text, kind, m_rules.delimiters, m_rules.considered, textElements(text, kind, m_rules)};
    return m_elements.spans;
}

} // namespace ombru::applescript
