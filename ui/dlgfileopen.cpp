#include "ui/dlgfileopen.h"

#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>

namespace {
// The directory label is 190 pixels wide; a pixel stays free at its edge.
constexpr int MaxLabelWidth = 189;
} // namespace

CDlgFileOpen::CDlgFileOpen(QWidget* parent, bool import)
    : CQPEDialog(parent, 210, 215)
    , m_import(import)
{
    makeLabel(this, tr("Directory:"), 5, 5, 190, 14);
    makeLabel(this, tr("File:"), 5, 35, 190, 14);
    m_dirLabel = makeLabel(this, QString(), 10, 19, 190, 15);
    m_dirLabel->setObjectName(QStringLiteral("dirLabel"));
    if (import) {
        setWindowTitle(tr("Import from File"));
        m_fileLabel = makeLabel(this, QStringLiteral(" "), 10, 49, 190, 15);
        m_fileLabel->setObjectName(QStringLiteral("fileLabel"));
    } else {
        setWindowTitle(tr("Export to File"));
        m_fileEdit = new QLineEdit(this);
        m_fileEdit->setObjectName(QStringLiteral("fileEdit"));
        m_fileEdit->setGeometry(10, 49, 190, 18);
    }
    m_list = new QListWidget(this);
    m_list->setObjectName(QStringLiteral("fileList"));
    m_list->setGeometry(5, 72, 200, 137);
    connect(m_list, &QListWidget::itemClicked, this, &CDlgFileOpen::listClicked);

    m_dir = QDir(QDir::currentPath());
    FillFileList();
    // Typing goes to the name at once; in import mode there is only the list.
    if (m_fileEdit)
        m_fileEdit->setFocus();
    else
        m_list->setFocus();
}

CDlgFileOpen::~CDlgFileOpen() = default;

QString CDlgFileOpen::FullPath(const QString& name) const
{
    return QDir::cleanPath(m_dir.canonicalPath() + u'/' + name);
}

void CDlgFileOpen::FillFileList()
{
    m_list->clear();
    m_lastItem = nullptr;
    // "." and ".." stay in the listing: ".." is the way up.
    const QStringList names =
        m_dir.entryList(QDir::AllDirs | QDir::Files, QDir::DirsFirst | QDir::Name);
    for (const QString& name : names) {
        const QString text = QFileInfo(FullPath(name)).isDir() ? name + u'/' : name;
        m_lastItem = new QListWidgetItem(text, m_list);
    }
    SetDirLabel(m_dir.canonicalPath());
}

void CDlgFileOpen::SetDirLabel(QString path)
{
    const QFontMetrics fm(m_dirLabel->font());
    auto fits = [&fm](const QString& text) { return fm.horizontalAdvance(text) <= MaxLabelWidth; };
    const int split = int(path.indexOf(u'/', 1));
    QString head = split < 0 ? path : path.left(split);
    QString tail = split < 0 ? QString() : path.mid(split);
    // Only when a component can be left out: "/...." alone would just make
    // the text longer.
    if (!fits(head + tail) && tail.indexOf(u'/', 1) > 0) {
        head += QLatin1String("/....");
        for (;;) {
            const int next = int(tail.indexOf(u'/', 1));
            if (next < 0)
                break;
            tail = tail.mid(next);
            if (fits(head + tail))
                break;
        }
    }
    m_dirLabel->setText(head + tail);
}

void CDlgFileOpen::listClicked(QListWidgetItem* item)
{
    if (!item)
        return;
    QString name = item->text();
    // The "/" only marks a directory on the screen.
    if (name.endsWith(u'/'))
        name.chop(1);
    const QString full = FullPath(name);
    if (!QFileInfo(full).isDir()) {
        if (m_import)
            m_fileLabel->setText(name);
        else
            m_fileEdit->setText(name);
        return;
    }
    if (!QDir(full).isReadable())
        return;
    m_dir = QDir(full);
    if (m_import)
        m_fileLabel->clear();
    FillFileList();
}

QString CDlgFileOpen::GetFileName()
{
    QString path = m_dir.canonicalPath();
    // At the root the separator is there already.
    if (!path.endsWith(u'/'))
        path += u'/';
    const QString name = m_import ? m_fileLabel->text() : m_fileEdit->text();
    m_result = name.isEmpty() ? QString() : path + name;
    return m_result;
}
