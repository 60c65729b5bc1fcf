// The least that a program with a main window can be, of the size that the console has.
#include <QApplication>
#include <QMainWindow>
#include <QScreen>

int main(int argc, char** argv)
{
    const QApplication application(argc, argv);
    QMainWindow window;
    window.resize(QGuiApplication::primaryScreen()->geometry().size() / 2);
    window.show();
    return QApplication::exec();
}
