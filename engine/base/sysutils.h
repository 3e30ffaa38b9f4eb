// Run-time library basics shared by every layer: the base exception class and
// the dataset/component error classes derived from it.
#pragma once

#include <QString>
#include <exception>

class Exception : public std::exception {
public:
    explicit Exception(QString message) : m_message(std::move(message)), m_utf8(m_message.toUtf8()) {}
    const QString& Message() const { return m_message; }
    const char* what() const noexcept override { return m_utf8.constData(); }

private:
    QString m_message;
    QByteArray m_utf8;
};

// Raised by datasets for misuse such as posting while not editing.
class EDatabaseError : public Exception {
public:
    using Exception::Exception;
};

// Raised by components for naming and ownership errors.
class EComponentError : public Exception {
public:
    using Exception::Exception;
};
