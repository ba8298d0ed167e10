#include "core/model/cmroot.h"
#include "core/model/cmrootworker.h"
#include "core/plixjson.h"
#include "core/plixpaths.h"
#include "processhandler/plixprocesshandler.h"
#include "settingsworker.h"

#include <QtTest>

namespace {

const QString languagePath = QStringLiteral("settings:/ui/language");

QVariantHash typedNode(const char* member, const QVariant& value) {
    return {{"value", QVariantHash{{QLatin1String(member), value}}}};
}

CMError write(const QString& path, const QVariant& value) {
    const CMReply<QVariant> reply;
    CMRoot()->setData(CMPath::fromEncoded(path), "value", value, reply);
    return reply.error();
}

QString text(const CMPath& path) {
    return plixValueToQString(PlixValue(CMRoot()->getValue(path).toHash()));
}

QString text(const QString& path) {
    return text(CMPath::fromEncoded(path));
}

} // namespace

class TestSettings : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void keepsWrittenValues();
    void overrideWinsOverKeptValue();
    void ignoresDamagedFile_data();
    void ignoresDamagedFile();
    void ignoresKeptValueThatDoesNotFit();
    void hidesDeviceNodes();
    void makesDevelopmentCaOnce();
    void replacesDamagedDevelopmentCa_data();
    void replacesDamagedDevelopmentCa();
    void leavesGivenCertificateAlone();

private:
    QVariantHash config() const;
    QString stateFile(const char* name) const { return m_state->filePath(QLatin1String(name)); }
    void writeStateFile(const char* name, const QByteArray& content) const;
    QByteArray readStateFile(const char* name) const;

    CMRootWorker m_root;
    std::unique_ptr<QTemporaryDir> m_state;
};

void TestSettings::init() {
    m_state = std::make_unique<QTemporaryDir>();
}

QVariantHash TestSettings::config() const {
    return {{"stateDir", m_state->path()},
            {"nodes", QVariantHash{{languagePath, typedNode("string_", "en")},
                                   {"settings:/brightness", typedNode("i32_", 50)},
                                   {"settings:/webserver/port", typedNode("i32_", 8080)},
                                   {"settings:/media/directory", typedNode("string_", "/srv")}}}};
}

void TestSettings::writeStateFile(const char* name, const QByteArray& content) const {
    QFile file(stateFile(name));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
}

QByteArray TestSettings::readStateFile(const char* name) const {
    QFile file(stateFile(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void TestSettings::keepsWrittenValues() {
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
    QCOMPARE(text(QStringLiteral("settings:/brightness")), QStringLiteral("70"));
    QCOMPARE(text(PlixWebserverPortPath()), QStringLiteral("8080"));
}

void TestSettings::overrideWinsOverKeptValue() {
    writeStateFile("settings.json", R"({"settings:/ui/language": {"string_": "de"}})");
    QVariantHash overridden = config();
    overridden.insert("overrides", QStringList{languagePath});
    const SettingsWorker worker(overridden);
    QCOMPARE(text(languagePath), QStringLiteral("en"));
}

void TestSettings::ignoresDamagedFile_data() {
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("cut off") << QByteArray(R"({"settings:/ui/language": {"str)");
    QTest::newRow("no object") << QByteArray("[]");
}

void TestSettings::ignoresDamagedFile() {
    QFETCH(QByteArray, content);
    writeStateFile("settings.json", content);
    const SettingsWorker worker(config());
    QCOMPARE(text(languagePath), QStringLiteral("en"));
    QCOMPARE(readStateFile("settings.json.damaged"), content);
}

void TestSettings::ignoresKeptValueThatDoesNotFit() {
    writeStateFile("settings.json", R"({"settings:/ui/language": {"i32_": 1},
                                        "settings:/webserver/port": {"i32_": 1},
                                        "settings:/gone": {"i32_": 1},
                                        "settings:/brightness": {"i32_": 70}})");
    const SettingsWorker worker(config());
    QCOMPARE(text(languagePath), QStringLiteral("en"));
    QCOMPARE(text(PlixWebserverPortPath()), QStringLiteral("8080"));
    QVERIFY(!worker.hasNode("settings:/gone"));
    QCOMPARE(text(QStringLiteral("settings:/brightness")), QStringLiteral("70"));
}

void TestSettings::hidesDeviceNodes() {
    const SettingsWorker worker(config());
    for (const char* path : {"settings:/webserver/port", "settings:/media/directory"})
        QVERIFY(worker.role(path, "internal").toBool());
    QVERIFY(!worker.role(languagePath, "internal").toBool());
}

void TestSettings::makesDevelopmentCaOnce() {
    QVariantHash withCa = config();
    withCa.insert("developmentCa", true);
    QString certificate;
    {
        const SettingsWorker worker(withCa);
        certificate = text(PlixWebserverHttpsCertPath());
        QVERIFY(worker.role(PlixWebserverHttpsPrivateKeyPath().toEncoded(), "internal").toBool());
    }
    QCOMPARE(certificate.toUtf8(), readStateFile("development-ca/ca.pem"));
    QCOMPARE(QFileInfo(stateFile("development-ca")).permissions() & 0x77, 0);
    QCOMPARE(QFileInfo(stateFile("development-ca/ca-key.pem")).permissions() & 0x77, 0);
    const auto shown = PlixProcessHandler::startSync(
        "openssl", {"x509", "-noout", "-text", "-in", stateFile("development-ca/ca.pem")}, 5000);
    for (const char* content : {"CN = Plix development CA", "CA:TRUE", "Certificate Sign"})
        QVERIFY2(shown.getData().contains(content), qPrintable(shown.getData()));

    const SettingsWorker worker(withCa);
    QCOMPARE(text(PlixWebserverHttpsCertPath()), certificate);
    QCOMPARE(QDir(m_state->path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
             QStringList{"development-ca"});
}

void TestSettings::replacesDamagedDevelopmentCa_data() {
    QTest::addColumn<QByteArray>("file");
    QTest::newRow("certificate") << QByteArray("development-ca/ca.pem");
    QTest::newRow("key") << QByteArray("development-ca/ca-key.pem");
}

void TestSettings::replacesDamagedDevelopmentCa() {
    QFETCH(QByteArray, file);
    QVariantHash withCa = config();
    withCa.insert("developmentCa", true);
    delete new SettingsWorker(withCa);
    const QByteArray previous = readStateFile("development-ca/ca.pem");
    writeStateFile(file.constData(), "damaged");
    const SettingsWorker worker(withCa);
    QVERIFY(readStateFile("development-ca/ca.pem").startsWith("-----BEGIN CERTIFICATE"));
    QVERIFY(readStateFile("development-ca/ca-key.pem").contains("PRIVATE KEY"));
    QVERIFY(text(PlixWebserverHttpsCertPath()).toUtf8() != previous);
}

void TestSettings::leavesGivenCertificateAlone() {
    QVariantHash withCa = config();
    QVariantHash nodes = withCa.value("nodes").toHash();
    nodes.insert(PlixWebserverHttpsCertPath().toEncoded(), typedNode("string_", "given"));
    withCa.insert("nodes", nodes);
    withCa.insert("developmentCa", true);
    const SettingsWorker worker(withCa);
    QCOMPARE(text(PlixWebserverHttpsCertPath()), QStringLiteral("given"));
    QVERIFY(!QFileInfo::exists(stateFile("development-ca")));
}

QTEST_GUILESS_MAIN(TestSettings)
#include "test_settings.moc"
