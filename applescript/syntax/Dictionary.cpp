#include "applescript/syntax/Dictionary.h"

namespace ombru::applescript {

namespace {

template <class Each>
void forEach(QStringView list, Each each) {
    for (const auto item : list.split(u'|', Qt::SkipEmptyParts))
        each(item);
}

QStringList splitWords(QStringView text, QChar separator) {
    QStringList words;
    for (const auto word : text.split(separator, Qt::SkipEmptyParts))
        words.append(word.toString());
    return words;
}

} // namespace

std::size_t spells(std::span<const Token> tokens, const QString &words) {
    const auto parts = QStringView(words).split(u' ');
    if (tokens.size() < std::size_t(parts.size()))
        return 0;
    for (qsizetype i = 0; i < parts.size(); ++i) {
        const Token &token = tokens[std::size_t(i)];
        if (token.kind != Token::Kind::word || token.key.compare(parts[i], Qt::CaseInsensitive) != 0)
            return 0;
    }
    return std::size_t(parts.size());
}

void Dictionary::add(Term::Kind kind, QStringView written, QStringView canonical, bool plural,
                     const CommandTerm *command) {
    const auto words = splitWords(written.toString().toLower(), u' ');
    auto &entries = m_entries[words.first()];
    const auto longer = [&](const Entry &entry) { return entry.words.size() < words.size(); };
    entries.insert(std::find_if(entries.begin(), entries.end(), longer),
                   Entry{words, Term{kind, canonical.toString(), plural, command}});
}

void Dictionary::addClasses(QStringView classes) {
    forEach(classes, [this](QStringView item) {
        const auto equals = item.indexOf(u'=');
        const auto singular = equals < 0 ? item : item.first(equals);
        add(Term::Kind::elementClass, singular, singular);
        const QString plural = equals < 0 ? singular.toString() + u's' : item.sliced(equals + 1).toString();
        if (plural != singular)
            add(Term::Kind::elementClass, plural, singular, true);
    });
}

void Dictionary::addSynonyms(QStringView classes) {
    forEach(classes, [this](QStringView item) {
        const auto equals = item.indexOf(u'=');
        add(Term::Kind::elementClass, item.first(equals), item.sliced(equals + 1));
    });
}

void Dictionary::addProperties(QStringView properties) {
    forEach(properties, [this](QStringView item) { add(Term::Kind::property, item, item); });
}

void Dictionary::addConstants(QStringView constants) {
    forEach(constants, [this](QStringView item) { add(Term::Kind::constant, item, item); });
}

void Dictionary::addCommand(const CommandWords &words) {
    auto command = std::make_unique<CommandTerm>();
    command->name = words.name.toString();
    command->direct = words.direct;
    command->directConstants = splitWords(words.directConstants, u'|');
    command->flags = splitWords(words.flags, u'|');
    command->application = words.application;
    command->describes = words.describes;
    forEach(words.parameters, [&](QStringView item) {
        const auto equals = item.indexOf(u'=');
        const auto label = equals < 0 ? item : item.first(equals);
        const auto constants = equals < 0 ? QStringView() : item.sliced(equals + 1);
        command->parameters.push_back({label.toString(), splitWords(constants, u',')});
    });
    // The longest label first, so that "with title" is not taken for "with".
    std::sort(command->parameters.begin(), command->parameters.end(), [](const auto &a, const auto &b) {
        return std::pair(-a.label.count(u' '), a.label) < std::pair(-b.label.count(u' '), b.label);
    });
    add(Term::Kind::command, words.name, words.name, false, command.get());
    m_commands.push_back(std::move(command));
}

Dictionary::Match Dictionary::longest(std::span<const Token> tokens) const {
    if (tokens.empty() || tokens.front().kind != Token::Kind::word)
        return {};
    const auto found = m_entries.constFind(tokens.front().key);
    if (found == m_entries.constEnd())
        return {};
    for (const Entry &entry : *found) {
        const auto length = std::size_t(entry.words.size());
        if (length > tokens.size())
            continue;
        bool matches = true;
        for (std::size_t i = 1; i < length && matches; ++i)
            matches = tokens[i].isWord(entry.words[qsizetype(i)]);
        if (matches)
            return {&entry.term, length};
    }
    return {};
}

Dictionary::Match longestTerm(const Scope &scope, const Dictionary &always, std::span<const Token> tokens) {
    Dictionary::Match best;
    const auto consider = [&](const Dictionary &dictionary) {
        const auto match = dictionary.longest(tokens);
        if (match.length > best.length)
            best = match;
    };
    for (const auto *dictionary : scope)
        consider(*dictionary);
    consider(always);
    return best;
}

} // namespace ombru::applescript
