#include "tour.h"

#include <QCoreApplication>
#include <QTextStream>

/** Runs in a phone with pictures: phonetour FOLDER-FOR-PICTURES. */
int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 2 || !QDir().mkpath(arguments.at(1))) {
        QTextStream(stderr) << "usage: phonetour FOLDER-FOR-PICTURES\n";
        return 2;
    }
    Tour tour((QDir(arguments.at(1))));
    return tour.run();
}
