#include "app/cli/NewSessionCommand.h"

namespace ombru {

using namespace Qt::StringLiterals;

Task<int> NewSessionCommand::run() {
    m_place.state.newSession();
    m_place.output.print(u"The next task begins a new conversation."_s);
    co_return 0;
}

} // namespace ombru
