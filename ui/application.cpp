#include "ui/application.h"

#include <QEvent>

CApplication::CApplication(int& argc, char** argv)
    : QPEApplication(argc, argv)
{
}

bool CApplication::eventFilter(QObject* watched, QEvent* event)
{
    const bool result = QPEApplication::eventFilter(watched, event);
    switch (event->type()) {
    case QEvent::MouseButtonPress:
    case QEvent::KeyPress:
    case QEvent::Wheel:
        emit signalUserActivity();
        break;
    default:
        break;
    }
    return result;
}
