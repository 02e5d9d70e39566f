#include "dialogs/dlgsettings.h"

#include <array>

#include <QComboBox>
#include <QDialogButtonBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include "host/startup.h"

namespace kandor {

namespace {

QString qs(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<int>(text.size()));
}

// The combo's items and the stored value of each, by list index.
constexpr std::array<std::string_view, 3> kItems = {"Scales Candela Multiplier",
                                                    "Scales Candela Values", "has No Effect"};
constexpr std::array<std::string_view, 3> kStored = {startup_text::kChangesCandelaMultiplier,
                                                     startup_text::kChangesCandelaValues,
                                                     startup_text::kChangesNothing};

}  // namespace

dlgSettings::dlgSettings(SettingsStore& store, Prompter& prompter, SettingsHooks hooks,
                         QWidget* parent)
    : QDialog(parent), store_(store), prompter_(prompter), hooks_(std::move(hooks)) {
    setObjectName("dlgSettings");
    setWindowTitle(qs(kCaption));
    setModal(true);

    Frame1 = new QGroupBox(tr("Lamp modifications"));
    Frame1->setObjectName("Frame1");
    labChange = new QLabel(tr("Changing Lamp / Lumen Values:"));
    labChange->setObjectName("labChange");
    cmbCandela = new QComboBox;
    cmbCandela->setObjectName("cmbCandela");
    cmbCandela->setToolTip(
        tr("What a new number of lamps or lumens per lamp does to the candela data"));
    labChange->setBuddy(cmbCandela);
    connect(cmbCandela, &QComboBox::currentIndexChanged, this, [this](int index) {
        if (hooks_.lampHint) hooks_.lampHint(index);
    });
    auto* lampLayout = new QHBoxLayout(Frame1);
    lampLayout->addWidget(labChange);
    lampLayout->addWidget(cmbCandela, 1);

    fraWorkOn = new QGroupBox(tr("When Starting, Work On"));
    fraWorkOn->setObjectName("fraWorkOn");
    rdoOriginal = new QRadioButton(tr("Original"));
    rdoOriginal->setObjectName("rdoOriginal");
    rdoOriginal->setToolTip(tr("Hand the edited data back as the host's own file"));
    rdoCopy = new QRadioButton(tr("Copy"));
    rdoCopy->setObjectName("rdoCopy");
    rdoCopy->setToolTip(tr("Hand the edited data back as a new file named Copy_..."));
    rdoOriginal->setChecked(true);
    auto* workLayout = new QHBoxLayout(fraWorkOn);
    workLayout->addWidget(rdoOriginal);
    workLayout->addWidget(rdoCopy);
    workLayout->addStretch(1);

    OKButton = new QPushButton(tr("OK"));
    OKButton->setObjectName("OKButton");
    OKButton->setDefault(true);
    CancelButton = new QPushButton(tr("Cancel"));
    CancelButton->setObjectName("CancelButton");
    CancelButton->setAutoDefault(false);
    cmdHelp = new QPushButton(tr("Help"));
    cmdHelp->setObjectName("cmdHelp");
    cmdHelp->setAutoDefault(false);
    connect(OKButton, &QPushButton::clicked, this, [this] { OKButton_Click(); });
    connect(CancelButton, &QPushButton::clicked, this, [this] { CancelButton_Click(); });
    connect(cmdHelp, &QPushButton::clicked, this, [this] { cmdHelp_Click(); });
    auto* buttons = new QDialogButtonBox;
    buttons->addButton(OKButton, QDialogButtonBox::AcceptRole);
    buttons->addButton(CancelButton, QDialogButtonBox::RejectRole);
    buttons->addButton(cmdHelp, QDialogButtonBox::HelpRole);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(Frame1);
    layout->addWidget(fraWorkOn);
    layout->addStretch(1);
    layout->addWidget(buttons);
    setMinimumWidth(420);
}

void dlgSettings::Load() {
    const UserSettings stored = readUserSettings(store_);
    apply(stored.changingLamp, stored.workOn);
}

void dlgSettings::apply(std::string_view changingLamp, std::string_view workOn) {
    {
        // Clearing and refilling is no choice of the user's; only the final selection is.
        const QSignalBlocker quiet(cmbCandela);
        cmbCandela->clear();
        for (std::string_view item : kItems)
            cmbCandela->addItem(qs(item));
        cmbCandela->setCurrentIndex(-1);
    }
    for (std::size_t i = 0; i < kStored.size(); ++i)
        if (changingLamp == kStored[i]) cmbCandela->setCurrentIndex(static_cast<int>(i));

    if (workOn == startup_text::kWorkOnOriginal) {
        rdoOriginal->setChecked(true);
        if (hooks_.workOnShown) hooks_.workOnShown(true);
    } else if (workOn == startup_text::kWorkOnCopy) {
        rdoCopy->setChecked(true);
        if (hooks_.workOnShown) hooks_.workOnShown(false);
    }
}

void dlgSettings::showSettings() {
    Load();
    exec();
}

void dlgSettings::OKButton_Click() {
    using namespace startup_text;
    const int index = cmbCandela->currentIndex();
    bool stored = true;
    if (index >= 0 && index < static_cast<int>(kStored.size()))
        stored = store_.save(kUserApp, kUserSection, kChangingLampKey,
                             kStored[static_cast<std::size_t>(index)]);
    if (stored)
        stored = store_.save(kUserApp, kUserSection, kWorkOnKey,
                             rdoOriginal->isChecked() ? kWorkOnOriginal : kWorkOnCopy);
    if (!stored) {
        prompter_.tell(store_.lastError());
        return;
    }
    accept();
}

void dlgSettings::CancelButton_Click() {
    reject();
}

void dlgSettings::cmdHelp_Click() {
    if (hooks_.help) hooks_.help();
}

}  // namespace kandor
