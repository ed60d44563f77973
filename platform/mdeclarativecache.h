#pragma once

class QGuiApplication;
class QQuickView;

/** Hands out the process's application object and its one window. Main thread only. */
class MDeclarativeCache
{
public:
    MDeclarativeCache() = delete;

    /**
     * Creates the application object; called once, first of all.
     * @param argc,argv as main() got them; they must outlive the application.
     * @return the application, owned by the caller.
     */
    [[nodiscard]] static QGuiApplication *qApplication(int &argc, char **argv);

    /**
     * The one window, made at the first call. The caller doesn't own it and must not delete
     * it: it is deleted with the application object.
     */
    [[nodiscard]] static QQuickView *qQuickView();
};
