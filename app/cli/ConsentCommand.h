// `ombru consent`: shows and changes which applications scripts may control.
#pragma once
#include "app/cli/CommandLine.h"
#include "app/cli/Terminal.h"
#include "base/Task.h"
#include "platform/Consent.h"

#include <QMap>

#include <stop_token>

namespace ombru {

class ConsentCommand {
public:
    explicit ConsentCommand(ConsentOptions options) : m_options(std::move(options)) {}

    // The exit status: 0 done, 1 when the record of decisions cannot be used, 2 for words that name nothing, 130
    // stopped by the owner.
    Task<int> run();
    void interrupt();

private:
    Task<int> list();
    Task<int> change();
    Task<std::optional<QString>> identify(QString application);
    static Task<QMap<QString, QString>> namesOf(QStringList ids); // by identifier
    Result<QString> apply(const QString &client, const QString &id) const;
    void printTable(const std::vector<ConsentDecision> &decisions, const QMap<QString, QString> &names);

    ConsentOptions m_options;
    Terminal m_terminal;
    std::stop_source m_stop;
};

} // namespace ombru
