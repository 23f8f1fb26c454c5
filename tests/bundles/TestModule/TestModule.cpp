// A module built only for the tests. It records where and how often each hook
// runs, as properties a host-side test can read without linking to this code.
#include "PLVCommon/core/PLVGenericModuleController.h"
#include "PLVCommon/core/PLVGenericModuleModel.h"
#include "PLVCommon/core/PLVGenericViewController.h"
#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/platform/PLVDispatch.h"

#include <QLabel>
#include <QPainter>
#include <QPointer>

#include <atomic>

class TestModuleModel : public PLVGenericModuleModel
{
    Q_OBJECT
    Q_PROPERTY(int updates READ updates)
public:
    Q_INVOKABLE explicit TestModuleModel(QObject *parent = nullptr) : PLVGenericModuleModel(parent) {}
    void updateModel() override
    {
        const int n = ++m_updates;
        // Hosts must cope with whatever a module writes: tests add text here.
        static const QString extra = qEnvironmentVariable("PLV_TEST_MODULE_TEXT");
        modelData().insert({{QStringLiteral("tick"), n},
                            {QStringLiteral("tickText"), PLVLoc(QStringLiteral("tick %1")).arg(n) + extra},
                            {QStringLiteral("modelOnMainThread"), PLVDispatch::isMainThread()}});
    }
    int updates() const { return m_updates; }

private:
    std::atomic<int> m_updates{0};
};

class TestStatusView : public PLVGenericStatusbarview
{
    Q_OBJECT
    Q_PROPERTY(int lastSeenTick READ lastSeenTick)
    Q_PROPERTY(bool viewsOnMainThread READ viewsOnMainThread)
public:
    Q_INVOKABLE explicit TestStatusView(QWidget *parent = nullptr) : PLVGenericStatusbarview(parent) {}
    void updateView() override
    {
        m_lastSeenTick = modelData().value(QStringLiteral("tick")).toInt();
        m_onMain = m_onMain && PLVDispatch::isMainThread();
        setNeedsDisplay();
    }
    int lastSeenTick() const { return m_lastSeenTick; }
    bool viewsOnMainThread() const { return m_onMain; }

protected:
    void drawRect(QPainter &painter, const QRectF &) override
    {
        painter.fillRect(QRectF(0, 0, qMin<qreal>(width(), m_lastSeenTick), height()), Qt::darkGreen);
    }

private:
    int m_lastSeenTick = 0;
    bool m_onMain = true;
};

class TestCompactView : public PLVGenericStatusbarCompactExpandedView
{
    Q_OBJECT
    Q_PROPERTY(int clears READ clears)
public:
    Q_INVOKABLE explicit TestCompactView(QWidget *parent = nullptr) : PLVGenericStatusbarCompactExpandedView(parent) {}
    void clearView() override { ++m_clears; }
    int clears() const { return m_clears; }

private:
    int m_clears = 0;
};

class TestModuleViewController : public PLVGenericViewController
{
    Q_OBJECT
    Q_PROPERTY(QLabel *tickLabel READ tickLabel WRITE setTickLabel)
    Q_PROPERTY(int registrations READ registrations)
    Q_PROPERTY(int preferenceLoads READ preferenceLoads)
public:
    Q_INVOKABLE explicit TestModuleViewController(QObject *parent = nullptr) : PLVGenericViewController(parent) {}
    void registerNotification() override { ++m_registrations; }
    void loadPreferences() override { ++m_preferenceLoads; }
    void updateViews() override
    {
        if (statusbarview())
            statusbarview()->updateView();
        if (m_tickLabel)
            m_tickLabel->setText(modelData().value(QStringLiteral("tickText")).toString());
    }
    QLabel *tickLabel() const { return m_tickLabel; }
    void setTickLabel(QLabel *label) { m_tickLabel = label; }
    int registrations() const { return m_registrations; }
    int preferenceLoads() const { return m_preferenceLoads; }

private:
    QPointer<QLabel> m_tickLabel;
    int m_registrations = 0;
    int m_preferenceLoads = 0;
};

class TestModuleController : public PLVGenericModuleController
{
    Q_OBJECT
    Q_PROPERTY(int skippedUpdates READ skippedUpdates)
public:
    Q_INVOKABLE explicit TestModuleController(QObject *parent = nullptr) : PLVGenericModuleController(parent) {}
    const QMetaObject *viewControllerClass() const override { return &TestModuleViewController::staticMetaObject; }
    const QMetaObject *modelObjClass() const override { return &TestModuleModel::staticMetaObject; }
    QString moduleName() const override { return QStringLiteral("Test"); }

    void updateModel() override
    {
        // Ticks may overlap on the global queue; one update at a time is enough.
        bool expected = false;
        if (!m_busy.compare_exchange_strong(expected, true)) {
            ++m_skipped;
            return;
        }
        setIsProcessing(true);
        modulemodelobj()->updateModel();
        setIsProcessing(false);
        m_busy = false;
    }
    void updateViews() override
    {
        if (auto *vc = qobject_cast<PLVGenericViewController *>(viewcontroller()))
            vc->updateViews();
    }
    int skippedUpdates() const { return m_skipped; }

private:
    std::atomic<bool> m_busy{false};
    std::atomic<int> m_skipped{0};
};

PLV_REGISTER_CLASS(TestModuleModel)
PLV_REGISTER_CLASS(TestStatusView)
PLV_REGISTER_CLASS(TestCompactView)
PLV_REGISTER_CLASS(TestModuleViewController)
PLV_REGISTER_CLASS(TestModuleController)

#include "TestModule.moc"
