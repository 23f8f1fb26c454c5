#include "PLVGenericViewController.h"

#include "PLVCommon/platform/TQIsTodayExtenstion.h"
#include "PLVCommon/platform/PLVBinding.h"
#include "PLVCommon/platform/PLVBundle.h"
#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/platform/PLVNotificationCenter.h"

PLV_REGISTER_CLASS(PLVViewController)
PLV_REGISTER_CLASS(PLVGenericViewController)
PLV_REGISTER_CLASS(PLVNCGenericViewController)

PLVGenericViewController::PLVGenericViewController(QObject *parent) : PLVViewController(parent) {}

PLVGenericViewController::~PLVGenericViewController()
{
    PLVNotificationCenter::defaultCenter()->removeObserver(this);
    unBindDataModel();
}

void PLVGenericViewController::setModelData(const PLVModelData &data)
{
    if (data == m_modelData)
        return;
    m_modelData = data;
    emit modelDataChanged();
}

void PLVGenericViewController::setBundleIdentifier(const QString &identifier)
{
    m_bundleIdentifier = identifier;
    if (m_preferenceNotificationview)
        m_preferenceNotificationview->setBundleIdentifier(identifier);
}

void PLVGenericViewController::setPlvPreferencesDefault(PLVPreferencesForModules *store)
{
    m_preferences = store;
    if (m_preferenceNotificationview) {
        m_preferenceNotificationview->setBundleIdentifier(m_bundleIdentifier);
        m_preferenceNotificationview->setPlvPreferencesDefault(store);
    }
    loadPreferences();
}

void PLVGenericViewController::awakeFromNib()
{
    bindDataModel();
    registerNotification();
}

bool PLVGenericViewController::isTodayExtention() const { return TQIsTodayExtenstion::isTodayExtention(); }

QList<QWidget *> PLVGenericViewController::boundViews() const
{
    if (isTodayExtention())
        return {m_statusbarTodayExpandedview.data(), m_statusbarTodayCompactview.data(), m_statusbarTodayMiniview.data(),
                m_statusbarTodayMiniTop5view.data(), m_statusbarTodayOverviewview.data()};
    return {m_statusbarview.data(), m_statusbarcompactview.data(), m_statusbarExpandedview.data(),
            m_preferenceNotificationview.data()};
}

void PLVGenericViewController::bindDataModel()
{
    for (QWidget *view : boundViews())
        if (view)
            PLVBinding::bind(view, "modelData", this, QStringLiteral("modelData"));
    // The monitor application registers here and again in awakeFromNib.
    if (!isTodayExtention())
        registerNotification();
}

void PLVGenericViewController::unBindDataModel()
{
    PLVNotificationCenter::defaultCenter()->removeObserver(this);
    for (QWidget *view : boundViews())
        if (view)
            PLVBinding::unbind(view, "modelData");
}

QString PLVGenericViewController::PLVLoc(const QString &key) const { return PLVLocalizedStringForClass(metaObject(), key); }

PLVNCGenericViewController::PLVNCGenericViewController(QObject *parent) : PLVViewController(parent) {}
