#include "scenecallback.h"

SceneCallback::SceneCallback(const QJSValue &function)
    : m_function(std::make_shared<QJSValue>(function))
{ }

void SceneCallback::call(const QJSValueList &arguments) const
{
    // Held here, since the call may end the registration.
    const std::shared_ptr<QJSValue> function = m_function;
    if (function && function->isCallable())
        function->call(arguments);
}

bool SceneCallback::calls(const QJSValue &function) const
{
    return m_function && m_function->strictlyEquals(function);
}
