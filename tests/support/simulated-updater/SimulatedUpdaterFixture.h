// Scripts the simulated updater for one test: a private folder with the
// scenario file and the argument log, both announced through the environment
// that child processes inherit. The scenario format is described at the top of
// SimulatedUpdater.cpp.
#ifndef VANTORIX_SIMULATEDUPDATERFIXTURE_H
#define VANTORIX_SIMULATEDUPDATERFIXTURE_H

#include <QByteArray>
#include <QFile>
#include <QList>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

class SimulatedUpdaterFixture {
public:
    SimulatedUpdaterFixture()
        : m_scenarioPath(m_folder.filePath(QStringLiteral("scenario"))),
          m_logPath(m_folder.filePath(QStringLiteral("arguments.log")))
    {
        qputenv("SIMULATED_UPDATER_SCENARIO", QFile::encodeName(m_scenarioPath));
        qputenv("SIMULATED_UPDATER_LOG", QFile::encodeName(m_logPath));
    }

    ~SimulatedUpdaterFixture()
    {
        qunsetenv("SIMULATED_UPDATER_SCENARIO");
        qunsetenv("SIMULATED_UPDATER_LOG");
    }

    SimulatedUpdaterFixture(const SimulatedUpdaterFixture&) = delete;
    SimulatedUpdaterFixture& operator=(const SimulatedUpdaterFixture&) = delete;

    // A fresh heap copy each time, so that callers may count its holders.
    static QString program() { return QString::fromLocal8Bit(SIMULATED_UPDATER_PATH); }

    bool isValid() const { return m_folder.isValid(); }
    QString folder() const { return m_folder.path(); }
    QString logPath() const { return m_logPath; }

    // Replaces the scenario with these lines (each gets its line feed).
    bool setScenario(const QStringList& lines) const
    {
        QFile file(m_scenarioPath);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            return false;
        for (const QString& line : lines)
            file.write(line.toLocal8Bit() + '\n');
        return file.flush();
    }

    // Bytes as an "out" step writes them: every byte outside printable ASCII,
    // the backslash and the blank are escaped.
    static QString escaped(const QByteArray& bytes)
    {
        QString text;
        for (const char c : bytes) {
            const auto byte = static_cast<unsigned char>(c);
            if (byte == '\\')
                text += QStringLiteral("\\\\");
            else if (byte > 0x20 && byte < 0x7f)
                text += QChar(byte);
            else
                text += QStringLiteral("\\x%1").arg(byte, 2, 16, QLatin1Char('0'));
        }
        return text;
    }

    // One entry per run of the simulated updater: its arguments after the
    // program name, in order.
    QList<QStringList> runs() const
    {
        QList<QStringList> result;
        QFile file(m_logPath);
        if (!file.open(QIODevice::ReadOnly))
            return result;
        const QList<QByteArray> lines = file.readAll().split('\n');
        for (const QByteArray& line : lines) {
            if (line.isEmpty())
                continue;
            QStringList arguments;
            for (const QByteArray& argument : line.split('\t'))
                arguments << QString::fromLocal8Bit(unescapedLogField(argument));
            result << arguments;
        }
        return result;
    }

private:
    static QByteArray unescapedLogField(const QByteArray& field)
    {
        QByteArray bytes;
        for (int i = 0; i < field.size(); ++i) {
            if (field[i] != '\\' || i + 1 == field.size()) {
                bytes += field[i];
                continue;
            }
            const char code = field[++i];
            if (code == 't')
                bytes += '\t';
            else if (code == 'n')
                bytes += '\n';
            else if (code == 'r')
                bytes += '\r';
            else if (code == 'x' && i + 2 < field.size()) {
                bytes += static_cast<char>(field.mid(i + 1, 2).toInt(nullptr, 16));
                i += 2;
            } else
                bytes += code;
        }
        return bytes;
    }

    QTemporaryDir m_folder;
    QString m_scenarioPath;
    QString m_logPath;
};

#endif
