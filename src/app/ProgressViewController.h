#pragma once

#include <QWidget>

class QLabel;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;

// The content of the progress window: what is being done, a busy indicator, the log of the work
// and the button that closes the window once the work is done.
class ProgressViewController : public QWidget {
    Q_OBJECT
public:
    explicit ProgressViewController(QWidget* parent = nullptr);

    QLabel* descriptionLabel() const { return descriptionLabel_; }
    QProgressBar* progressIndicator() const { return progressIndicator_; }
    QPlainTextEdit* logTextView() const { return logTextView_; }
    QPushButton* dismissButton() const { return dismissButton_; }
    // Beside the bar, shown only for work that can be stopped.
    QPushButton* cancelButton() const { return cancelButton_; }

    // Adds one line in the palette's text colour and scrolls so that it is visible.
    void appendLogLine(const QString& line);

private:
    QLabel* descriptionLabel_;
    QProgressBar* progressIndicator_;
    QPlainTextEdit* logTextView_;
    QPushButton* dismissButton_;
    QPushButton* cancelButton_;
};
