// A roll-down section: a flat arrow button that shows or hides its body.
#include "panel/qt/CollapsibleSection.h"

#include <QToolButton>
#include <QVBoxLayout>

namespace kelvo::panel::qt {

CollapsibleSection::CollapsibleSection(const QString& title, QWidget* parent) : QWidget(parent) {
    mHeader = new QToolButton(this);
    mHeader->setObjectName(QStringLiteral("sectionHeader"));
    mHeader->setText(title);
    mHeader->setAccessibleName(title);
    mHeader->setCheckable(true);
    mHeader->setChecked(true);
    mHeader->setAutoRaise(true);
    mHeader->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    mHeader->setArrowType(Qt::DownArrow);
    // A tool button takes no focus by Tab by default; a roll-down the
    // keyboard cannot fold would break keyboard-only use.
    mHeader->setFocusPolicy(Qt::StrongFocus);
    QFont font = mHeader->font();
    font.setBold(true);
    mHeader->setFont(font);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    layout->addWidget(mHeader, 0, Qt::AlignLeft);

    connect(mHeader, &QToolButton::toggled, this, [this](bool on) {
        mHeader->setArrowType(on ? Qt::DownArrow : Qt::RightArrow);
        if (mBody)
            mBody->setVisible(on);
        emit expandedChanged(on);
    });
}

void CollapsibleSection::SetBody(QWidget* body) {
    if (mBody == body)
        return;
    if (mBody)
        mBody->deleteLater();
    mBody = body;
    if (!mBody)
        return;
    mBody->setParent(this);
    static_cast<QVBoxLayout*>(layout())->addWidget(mBody);
    mBody->setVisible(IsExpanded());
}

bool CollapsibleSection::IsExpanded() const { return mHeader->isChecked(); }

void CollapsibleSection::SetExpanded(bool expanded) { mHeader->setChecked(expanded); }

} // namespace kelvo::panel::qt
