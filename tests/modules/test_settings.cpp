// SPDX-License-Identifier: MIT
#include "core/model/cmrootworker.h"
#include "core/plixpaths.h"
#include "datamodel.h"
#include "files.h"
#include "settingsworker.h"

#include <QtTest>

namespace {

const QString certificatePath = PlixWebserverHttpsCertPath().toEncoded();
const QString portPath = PlixWebserverPortPath().toEncoded();
const QString languagePath = QStringLiteral("settings:/ui/language");
const QString brightnessPath = QStringLiteral("settings:/brightness");
const char certificateFile[] = "development-ca/ca.pem";
const char keyFile[] = "development-ca/ca-key.pem";

QVariantHash typedNode(const char* member, const QVariant& value) {
    return {{"value", QVariantHash{{QLatin1String(member), value}}}};
}

QString text(const QString& path) {
    return plixValueToQString(PlixValue(valueOf(path)));
}

} // namespace

class TestSettings : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { m_state = std::make_unique<QTemporaryDir>(); }

    void keepsWrittenValues() {
        {
            SettingsWorker worker(config());
            QCOMPARE(setData(languagePath, "value", "de"), QString());
            QTRY_VERIFY(!readStateFile("settings.json").isEmpty());
            // Still to be saved when the worker ends.
            QCOMPARE(setData(brightnessPath, "value", 70), QString());
            QCOMPARE(setData(portPath, "value", 1), QString());
            QCOMPARE(setData(languagePath, "title", "lost"), QStringLiteral("notModifiable"));
            QCOMPARE(setData("settings:/gone", "title", "x"), QStringLiteral("nodeNotFound"));
        }
        QVERIFY(isPrivate("settings.json"));
        {
            const SettingsWorker worker(config());
            QCOMPARE(values(), QStringLiteral("de 70 8080"));
        }
        const SettingsWorker worker(config({{"overrides", QStringList{languagePath}}}));
        QCOMPARE(values(), QStringLiteral("en 70 8080"));
    }

    void ignoresWhatDoesNotFit() {
        writeFile(stateFile("settings.json"), R"({"settings:/ui/language": {"i32_": 1},
                                        "settings:/webserver/port": {"i32_": 1},
                                        "settings:/gone": {"i32_": 1},
                                        "settings:/brightness": {"i32_": 70}})");
        {
            const SettingsWorker worker(config());
            QCOMPARE(values(), QStringLiteral("en 70 8080"));
            QVERIFY(!worker.hasNode("settings:/gone"));
            QVERIFY(worker.role(portPath, "internal").toBool());
        }
        for (const QByteArray content : {"{\"settings", "[]"}) {
            writeFile(stateFile("settings.json"), content);
            const SettingsWorker worker(config());
            QCOMPARE(values(), QStringLiteral("en 50 8080"));
            QCOMPARE(readStateFile("settings.json.damaged"), content);
        }
    }

    void makesDevelopmentCaOnce() {
        const QVariantHash withCa = config({{"developmentCa", true}});
        QByteArray certificate;
        for (int start = 0; start < 2; ++start) {
            const SettingsWorker worker(withCa);
            QVERIFY(start == 0 || readStateFile(certificateFile) == certificate);
            certificate = readStateFile(certificateFile);
            QCOMPARE(text(certificatePath).toUtf8(), certificate);
            const QString key = PlixWebserverHttpsPrivateKeyPath().toEncoded();
            QVERIFY(worker.role(key, "internal").toBool());
        }
        QVERIFY(isPrivate("development-ca") && isPrivate(keyFile));
        QCOMPARE(QDir(m_state->path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
                 QStringList{"development-ca"});
        // A damaged one is replaced.
        for (const char* file : {certificateFile, keyFile}) {
            writeFile(stateFile(file), "damaged");
            const SettingsWorker worker(withCa);
            QVERIFY(text(certificatePath).toUtf8() !=
                    std::exchange(certificate, readStateFile(certificateFile)));
            QVERIFY(certificate.startsWith("-----BEGIN CERTIFICATE"));
            QVERIFY(readStateFile(keyFile).contains("PRIVATE KEY"));
        }
    }

private:
    QVariantHash config(const QVariantHash& more = {}) const {
        QVariantHash made{{"stateDir", m_state->path()},
                          {"nodes", QVariantHash{{languagePath, typedNode("string_", "en")},
                                                 {brightnessPath, typedNode("i32_", 50)},
                                                 {portPath, typedNode("i32_", 8080)}}}};
        for (auto member = more.begin(); member != more.end(); ++member)
            made.insert(member.key(), member.value());
        return made;
    }
    QString stateFile(const char* name) const { return m_state->filePath(QLatin1String(name)); }
    static QString values() {
        return QStringList{text(languagePath), text(brightnessPath), text(portPath)}.join(' ');
    }
    bool isPrivate(const char* name) const {
        return (QFileInfo(stateFile(name)).permissions() & 0x77) == 0;
    }
    QByteArray readStateFile(const char* name) const { return readFile(stateFile(name)); }

    CMRootWorker m_root;
    std::unique_ptr<QTemporaryDir> m_state;
};

QTEST_GUILESS_MAIN(TestSettings)
#include "test_settings.moc"
