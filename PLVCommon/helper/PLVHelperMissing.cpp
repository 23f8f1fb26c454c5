#include "PLVCommon/helper/PLVHelperMissing.h"

#include "PLVCommon/helper/PLVHelperObject.h"
#include "PLVCommon/desktop/PLVDesktopApps.h"
#include "PLVCommon/platform/PLVBundle.h"
#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/platform/PLVDispatch.h"

#include <QDesktopServices>
#include <QFileInfo>
#include <QLayout>
#include <QProcess>
#include <QPushButton>

PLV_REGISTER_CLASS(PLVHelperMissing)

namespace {

// The panel's constraints, realised by hand until the constraint solver of the
// view layout services exists: a height of 52 at priority 750 (a preference,
// not a requirement), the button centred both ways and never larger than the
// panel (required). Nothing here forces the panel to grow.
class HelperMissingLayout : public QLayout
{
public:
    static constexpr int kPreferredHeight = 52;

    explicit HelperMissingLayout(QWidget *panel) : QLayout(panel) { setContentsMargins(0, 0, 0, 0); }
    ~HelperMissingLayout() override { delete m_item; }

    void addItem(QLayoutItem *item) override
    {
        delete m_item;
        m_item = item;
    }
    int count() const override { return m_item ? 1 : 0; }
    QLayoutItem *itemAt(int index) const override { return index == 0 ? m_item : nullptr; }
    QLayoutItem *takeAt(int index) override
    {
        if (index != 0)
            return nullptr;
        return std::exchange(m_item, nullptr);
    }
    QSize sizeHint() const override
    {
        return QSize(m_item ? m_item->sizeHint().width() : 0, kPreferredHeight);
    }
    QSize minimumSize() const override { return QSize(0, 0); }
    void setGeometry(const QRect &rect) override
    {
        QLayout::setGeometry(rect);
        if (!m_item)
            return;
        const QSize hint = m_item->sizeHint();
        const QSize size(qMin(hint.width(), rect.width()), qMin(hint.height(), rect.height()));
        m_item->setGeometry(QRect(QPoint(rect.x() + (rect.width() - size.width()) / 2,
                                         rect.y() + (rect.height() - size.height()) / 2),
                                  size));
    }

private:
    QLayoutItem *m_item = nullptr;
};

// Starts an application from its desktop entry, as a launcher would.
void launchEntry(const QUrl &entryUrl)
{
    const QString path = entryUrl.toLocalFile();
    const auto entry = PLVDesktopApps::parseEntry(path, QFileInfo(path).completeBaseName());
    if (!entry || entry->exec.isEmpty())
        return;
    QProcess::startDetached(entry->exec.constFirst(), entry->exec.mid(1));
}

} // namespace

PLVHelperMissing::PLVHelperMissing(QWidget *parent) : PLVView(parent)
{
    initTheView();
}

PLVHelperMissing::~PLVHelperMissing() = default;

void PLVHelperMissing::awakeFromNib()
{
    initTheView();
}

void PLVHelperMissing::initTheView()
{
    if (!layout()) {
        auto *l = new HelperMissingLayout(this);
        Q_UNUSED(l);
        setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Preferred);
    }
    addButton();
    updateTextAndAction();
}

void PLVHelperMissing::addButton()
{
    // Set-up runs again for a panel loaded from an interface file; it keeps its one button.
    if (m_btnHelperNotRunning)
        return;
    m_btnHelperNotRunning = new QPushButton(this);
    m_btnHelperNotRunning->setObjectName(QStringLiteral("btnHelperNotRunning"));
    m_btnHelperNotRunning->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    layout()->addWidget(m_btnHelperNotRunning);
}

void PLVHelperMissing::updateTextAndAction()
{
    if (!m_btnHelperNotRunning)
        return;
    m_btnHelperNotRunning->disconnect(this);
    connect(m_btnHelperNotRunning, &QPushButton::clicked, this, &PLVHelperMissing::actionForButton);

    QString key;
    if (!PLVHelperObject::isHelperDownloaded())
        key = QStringLiteral("Download Helper");
    else if (!PLVHelperObject::isHelperUpToDate())
        key = QStringLiteral("Update Helper");
    else if (!PLVHelperObject::isHelperRunning())
        key = QStringLiteral("Helper Not Running!");
    else
        key = QStringLiteral("Contacting Helper");
    m_btnHelperNotRunning->setText(PLVLoc(key));
    updateGeometry();
}

void PLVHelperMissing::actionForButton()
{
    PLVDispatch::asyncMain([] {
        if (PLVHelperObject::isHelperDownloaded() && PLVHelperObject::isHelperUpToDate()) {
            if (PLVHelperObject::isHelperRunning())
                return;
            const QUrl installer = PLVHelperObject::urlToHelperInstaller();
            if (!installer.isEmpty())
                launchEntry(installer);
            return;
        }
        const QUrl page = PLVHelperObject::downloadPageURL();
        if (page.isValid() && !page.isEmpty())
            QDesktopServices::openUrl(page);
    });
}

QString PLVHelperMissing::PLVLoc(const QString &key) const
{
    return PLVLocalizedStringForClass(&staticMetaObject, key);
}
