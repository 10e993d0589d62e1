#include "Support/ScriptedAnswer.h"

#include <utility>

namespace Zel::Tests::Support
{

ScriptedAnswer ScriptedAnswer::None()
{
    return {};
}

ScriptedAnswer ScriptedAnswer::Late(std::chrono::milliseconds delay)
{
    ScriptedAnswer answer;
    answer.kind = Kind::Late;
    answer.delay = delay;
    return answer;
}

ScriptedAnswer ScriptedAnswer::Error(String name, String text)
{
    ScriptedAnswer answer;
    answer.kind = Kind::Error;
    answer.texts = {std::move(name), std::move(text)};
    return answer;
}

ScriptedAnswer ScriptedAnswer::Refusal(String text)
{
    return Error(RefusalError, std::move(text));
}

ScriptedAnswer ScriptedAnswer::Texts(std::vector<String> texts)
{
    ScriptedAnswer answer;
    answer.kind = Kind::Texts;
    answer.texts = std::move(texts);
    return answer;
}

} // namespace Zel::Tests::Support
