#include "app/ProgressViewController.h"

#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollBar>
#include <QTextCursor>
#include <QVBoxLayout>

ProgressViewController::ProgressViewController(QWidget* parent)
    : QWidget(parent), descriptionLabel_(new QLabel(this)), progressIndicator_(new QProgressBar(this)),
      logTextView_(new QPlainTextEdit(this)), dismissButton_(new QPushButton(tr("Dismiss"), this)),
      cancelButton_(new QPushButton(tr("Cancel"), this)) {
    descriptionLabel_->setObjectName("descriptionLabel");
    descriptionLabel_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    descriptionLabel_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);

    // Idle: an empty, still bar until work begins.
    progressIndicator_->setObjectName("progressIndicator");
    progressIndicator_->setRange(0, 1);
    progressIndicator_->setValue(0);
    progressIndicator_->setTextVisible(false);

    logTextView_->setObjectName("logTextView");
    logTextView_->setReadOnly(true);
    logTextView_->setLineWrapMode(QPlainTextEdit::NoWrap);
    logTextView_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    logTextView_->setMinimumHeight(0);

    dismissButton_->setObjectName("dismissButton");
    dismissButton_->setEnabled(false);

    cancelButton_->setObjectName("cancelButton");
    cancelButton_->setVisible(false);
    auto* bar = new QHBoxLayout;
    bar->addWidget(progressIndicator_, 1);
    bar->addWidget(cancelButton_);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(dismissButton_);

    // The stretches centre description and bar in a collapsed window; with the log shown, the
    // log takes all the room.
    auto* layout = new QVBoxLayout(this);
    layout->addStretch();
    layout->addWidget(descriptionLabel_);
    layout->addLayout(bar);
    layout->addWidget(logTextView_, 1);
    layout->addLayout(buttons);
    layout->addStretch();
}

void ProgressViewController::appendLogLine(const QString& line) {
    QTextCharFormat format;
    format.setForeground(logTextView_->palette().color(QPalette::Text));
    QTextCursor cursor(logTextView_->document());
    cursor.movePosition(QTextCursor::End);
    cursor.insertText(line + '\n', format);
    logTextView_->moveCursor(QTextCursor::End);
    logTextView_->ensureCursorVisible();
    logTextView_->verticalScrollBar()->setValue(logTextView_->verticalScrollBar()->maximum());
}
