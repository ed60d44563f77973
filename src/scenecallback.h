#pragma once

#include <QJSValue>

#include <memory>

/**
 * A function of the scene that is to be called later. The scene may have gone by then: a
 * plain QJSValue crashes when it is copied after its engine's end, and this is never
 * copied, only shared. Calling it then does nothing.
 */
class SceneCallback
{
public:
    /** Calls nothing. */
    SceneCallback() = default;
    explicit SceneCallback(const QJSValue &function);

    void call(const QJSValueList &arguments) const;

    /** Whether it calls this very function. */
    [[nodiscard]] bool calls(const QJSValue &function) const;

    /** The same registration, not only the same function. */
    friend bool operator==(const SceneCallback &a, const SceneCallback &b)
    {
        return a.m_function == b.m_function;
    }

private:
    std::shared_ptr<QJSValue> m_function; // undefined once its engine has gone
};
