#include "ui/dlgabout.h"

#include "platform/resource.h"
#include "ui/shell.h"

#include <QLabel>

namespace {
void paintWhite(QWidget* w)
{
    QPalette pal = w->palette();
    pal.setColor(QPalette::Window, Qt::white);
    w->setPalette(pal);
    w->setAutoFillBackground(true);
}
} // namespace

CdlgAbout::CdlgAbout(QWidget* parent)
    : CQPEDialog(parent, 210, 220)
{
    setWindowTitle(tr("About Vaultix"));
    setFocusPolicy(Qt::NoFocus);
    paintWhite(this);

    QLabel* logo = makeLabel(this, QString(), 5, 10, 96, 44);
    logo->setObjectName(QStringLiteral("logo"));
    logo->setPixmap(Resource::loadPixmap(QStringLiteral("korel/logo/logo")));
    paintWhite(logo);

    const QString text = Shell::TitleAndVersion();
    QLabel* title = makeLabel(this, text, 106, 21, 99, 16);
    title->setObjectName(QStringLiteral("title"));
    title->setAlignment(Qt::AlignCenter);
    paintWhite(title);
}

void CdlgAbout::RunAbout(QWidget* list)
{
    CdlgAbout dlg(list);
    dlg.exec();
}
