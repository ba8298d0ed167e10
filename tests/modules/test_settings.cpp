#include "core/model/cmroot.h"
#include "core/model/cmrootworker.h"
#include "core/plixjson.h"
#include "core/plixpaths.h"
#include "processhandler/plixprocesshandler.h"
#include "settingsworker.h"

#include <QtTest>

namespace {

const QString certificatePath = PlixWebserverHttpsCertPath().toEncoded();
const QString portPath = PlixWebserverPortPath().toEncoded();
const QString languagePath = QStringLiteral("settings:/ui/language");

QVariantHash typedNode(const char* member, const QVariant& value) {
    return {{"value", QVariantHash{{QLatin1String(member), value}}}};
}

CMError write(const QString& path, const QVariant& value) {
    const CMReply<QVariant> reply;
    CMRoot()->setData(CMPath::fromEncoded(path), "value", value, reply);
    return reply.error();
}

QString text(const QString& path) {
    return plixValueToQString(PlixValue(CMRoot()->getValue(CMPath::fromEncoded(path)).toHash()));
}

} // namespace

class TestSettings : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { m_state = std::make_unique<QTemporaryDir>(); }
    void keepsWrittenValues() {
        {
            SettingsWorker worker(config());
            QVERIFY(!write(languagePath, "de"));
            QTRY_VERIFY(!readStateFile("settings.json").isEmpty());
            // Still to be saved when the worker ends.
            QVERIFY(!write("settings:/brightness", 70));
            QVERIFY(!write("settings:/webserver/port", 1));
        }
        QCOMPARE(QFileInfo(stateFile("settings.json")).permissions() & 0x77, 0);
        const SettingsWorker worker(config());
        QCOMPARE(text(languagePath), QStringLiteral("de"));
        QCOMPARE(text("settings:/brightness"), QStringLiteral("70"));
        QCOMPARE(text(portPath), QStringLiteral("8080"));
    }

    void overrideWinsOverKeptValue() {
        writeStateFile("settings.json", R"({"settings:/ui/language": {"string_": "de"}})");
        const SettingsWorker worker(config({{"overrides", QStringList{languagePath}}}));
        QCOMPARE(text(languagePath), QStringLiteral("en"));
    }

    void ignoresDamagedFile() {
        for (const QByteArray content : {"{\"settings", "[]"}) {
            writeStateFile("settings.json", content);
            const SettingsWorker worker(config());
            QCOMPARE(text(languagePath), QStringLiteral("en"));
            QCOMPARE(readStateFile("settings.json.damaged"), content);
        }
    }

    void ignoresKeptValueThatDoesNotFit() {
        writeStateFile("settings.json", R"({"settings:/ui/language": {"i32_": 1},
                                        "settings:/webserver/port": {"i32_": 1},
                                        "settings:/gone": {"i32_": 1},
                                        "settings:/brightness": {"i32_": 70}})");
        const SettingsWorker worker(config());
        QCOMPARE(text(languagePath), QStringLiteral("en"));
        QCOMPARE(text(portPath), QStringLiteral("8080"));
        QVERIFY(!worker.hasNode("settings:/gone"));
        QVERIFY(worker.role("settings:/webserver/port", "internal").toBool());
        QCOMPARE(text("settings:/brightness"), QStringLiteral("70"));
    }

    void makesDevelopmentCaOnce() {
        const QVariantHash withCa = config({{"developmentCa", true}});
        QString certificate;
        {
            const SettingsWorker worker(withCa);
            certificate = text(certificatePath);
            QVERIFY(
                worker.role(PlixWebserverHttpsPrivateKeyPath().toEncoded(), "internal").toBool());
        }
        QCOMPARE(certificate.toUtf8(), readStateFile("development-ca/ca.pem"));
        QCOMPARE(QFileInfo(stateFile("development-ca")).permissions() & 0x77, 0);
        QCOMPARE(QFileInfo(stateFile("development-ca/ca-key.pem")).permissions() & 0x77, 0);
        const auto shown = PlixProcessHandler::startSync(
            "openssl", {"x509", "-noout", "-text", "-in", stateFile("development-ca/ca.pem")},
            5000);
        QVERIFY2(shown.getData().contains("CA:TRUE"), qPrintable(shown.getData()));
        const SettingsWorker worker(withCa);
        QCOMPARE(text(certificatePath), certificate);
        QCOMPARE(QDir(m_state->path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
                 QStringList{"development-ca"});
    }

    void replacesDamagedDevelopmentCa() {
        const QVariantHash withCa = config({{"developmentCa", true}});
        delete new SettingsWorker(withCa);
        for (const char* file : {"development-ca/ca.pem", "development-ca/ca-key.pem"}) {
            const QByteArray previous = readStateFile("development-ca/ca.pem");
            writeStateFile(file, "damaged");
            const SettingsWorker worker(withCa);
            QVERIFY(readStateFile("development-ca/ca.pem").startsWith("-----BEGIN CERTIFICATE"));
            QVERIFY(readStateFile("development-ca/ca-key.pem").contains("PRIVATE KEY"));
            QVERIFY(text(certificatePath).toUtf8() != previous);
        }
    }

    void leavesGivenCertificateAlone() {
        const QVariantHash given{{certificatePath, typedNode("string_", "given")}};
        const SettingsWorker worker(config({{"developmentCa", true}, {"nodes", given}}));
        QCOMPARE(text(certificatePath), QStringLiteral("given"));
        QVERIFY(!QFileInfo::exists(stateFile("development-ca")));
    }

private:
    QVariantHash config(const QVariantHash& more = {}) const {
        QVariantHash made{{"stateDir", m_state->path()},
                          {"nodes", QVariantHash{{languagePath, typedNode("string_", "en")},
                                                 {"settings:/brightness", typedNode("i32_", 50)},
                                                 {portPath, typedNode("i32_", 8080)}}}};
        for (auto member = more.begin(); member != more.end(); ++member)
            made.insert(member.key(), member.value());
        return made;
    }
    QString stateFile(const char* name) const { return m_state->filePath(QLatin1String(name)); }
    void writeStateFile(const char* name, const QByteArray& content) const {
        QFile file(stateFile(name));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
    }
    QByteArray readStateFile(const char* name) const {
        QFile file(stateFile(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    CMRootWorker m_root;
    std::unique_ptr<QTemporaryDir> m_state;
};

QTEST_GUILESS_MAIN(TestSettings)
#include "test_settings.moc"
