// The least that a tray program of the same toolkit is: an icon and an event loop.

#include <QApplication>
#include <QPixmap>
#include <QSystemTrayIcon>

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  QApplication::setQuitOnLastWindowClosed(false);
  QPixmap image(18, 18);
  image.fill(Qt::blue);
  QSystemTrayIcon icon{QIcon(image)};
  icon.show();
  return QApplication::exec();
}
