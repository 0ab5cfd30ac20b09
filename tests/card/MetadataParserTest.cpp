#include "card/P2MetadataParser.h"
#include "card/P2XMLScanDelegate.h"
#include "CardTests.h"
#include "CardTree.h"

#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>
#include <sys/stat.h>

using P2MetadataParser::ClipMetadata;

Q_DECLARE_METATYPE(std::optional<double>)
Q_DECLARE_METATYPE(std::optional<int>)
Q_DECLARE_METATYPE(std::optional<QString>)

namespace {

const QString umid = QStringLiteral("060A2B340101010501010D4313000000C8D1E2F3A4B5C6D7E8F9A0B1C2D3E4F5");
const QString neighbourUmid =
    QStringLiteral("060A2B340101010501010D4313000000000102030405060708090A0B0C0D0E0F");

// A clip file as a camera writes it.
QString cameraClipXml()
{
    const QString audio =
        QStringLiteral("<Audio><AudioFormat>MXF</AudioFormat><SamplingRate>48000</SamplingRate>"
                       "<BitsPerSample>16</BitsPerSample></Audio>\n");
    return QStringLiteral(R"(<?xml version="1.0" encoding="UTF-8" standalone="no" ?>
<P2Main xmlns="urn:schemas-Professional-Plug-in:P2:ClipMetadata:v3.1">
  <ClipContent>
    <ClipName>0001AB</ClipName>
    <GlobalClipID>%1</GlobalClipID>
    <Duration>300</Duration>
    <EditUnit>1001/30000</EditUnit>
    <EssenceList>
      <Video ValidAudioFlag="false">
        <VideoFormat>MXF</VideoFormat>
        <Codec Class="100">DV100_1080/59.94i</Codec>
        <FrameRate DropFrameFlag="true">59.94i</FrameRate>
        <StartTimecode>01:02:03:04</StartTimecode>
        <StartBinaryGroup>00000000</StartBinaryGroup>
        <AspectRatio>16:9</AspectRatio>
      </Video>
      %3%3%3%3
    </EssenceList>
    <Relation>
      <OffsetInShot>0</OffsetInShot>
      <GlobalShotID>%2</GlobalShotID>
      <Connection>
        <Top><ClipName>0000AB</ClipName><GlobalClipID>%2</GlobalClipID></Top>
        <Previous><ClipName>0000AB</ClipName><GlobalClipID>%2</GlobalClipID></Previous>
      </Connection>
    </Relation>
    <ClipMetadata>
      <UserClipName>Interview, take 2</UserClipName>
      <Access>
        <Creator>Camera A</Creator>
        <CreationDate>2022-04-19T22:47:20-05:00</CreationDate>
        <LastUpdateDate>2022-04-19T22:50:00-05:00</LastUpdateDate>
      </Access>
      <Device><Manufacturer>Panasonic</Manufacturer><SerialNo.>A1B2C3</SerialNo.><ModelName>AJ-HPX3100G</ModelName></Device>
      <Shoot><Shooter>Sam</Shooter><StartDate>2022-04-19T22:40:00-05:00</StartDate></Shoot>
      <Scenario><SceneNo.>12</SceneNo.><TakeNo.>3</TakeNo.></Scenario>
      <Memo><Offset>0</Offset><Person>Sam</Person><Text>Wind on the left mic</Text></Memo>
      <Memo><Offset>120</Offset><Text>Good take</Text></Memo>
    </ClipMetadata>
  </ClipContent>
</P2Main>
)")
        .arg(umid, neighbourUmid, audio);
}

// The nesting entity bomb: a few hundred bytes that would expand to gigabytes.
QByteArray billionLaughs()
{
    QByteArray doc = "<?xml version=\"1.0\"?>\n<!DOCTYPE P2Main [\n<!ENTITY lol0 \"lol\">\n";
    for (int level = 1; level <= 9; ++level) {
        doc += "<!ENTITY lol" + QByteArray::number(level) + " \"";
        for (int i = 0; i < 10; ++i)
            doc += "&lol" + QByteArray::number(level - 1) + ";";
        doc += "\">\n";
    }
    return doc + "]>\n<P2Main><ClipName>0001AB</ClipName><Note>&lol9;</Note></P2Main>\n";
}

// Many references to one entity just under Qt's per-entity limit.
QByteArray quadraticBlowup()
{
    QByteArray doc = "<?xml version=\"1.0\"?>\n<!DOCTYPE P2Main [<!ENTITY big \"" + QByteArray(4000, 'x') +
                     "\">]>\n<P2Main><ClipName>0001AB</ClipName><Note>";
    for (int i = 0; i < 100000; ++i)
        doc += "&big;";
    return doc + "</Note></P2Main>\n";
}

} // namespace

class MetadataParserTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    int m_file = 0;

    QString writeXml(const QByteArray& content, const QString& name = QString())
    {
        const QString path = m_dir.filePath(name.isEmpty() ? QStringLiteral("%1.XML").arg(++m_file) : name);
        return CardTree::writeFile(path, content) ? path : QString();
    }

    ClipMetadata parseText(const QString& text) { return P2MetadataParser::parse(writeXml(text.toUtf8())); }

    static void verifyUnreadable(const ClipMetadata& metadata, const QString& path)
    {
        ClipMetadata expected;
        expected.xmlURL = path;
        expected.parseWarnings = {QStringLiteral("Could not read file")};
        QCOMPARE(metadata, expected);
    }

    static void verifyParseError(const ClipMetadata& metadata)
    {
        QVERIFY2(!metadata.parseWarnings.isEmpty(), "expected a parse error");
        QVERIFY2(metadata.parseWarnings.first().startsWith(QStringLiteral("XML parse error: ")),
                 qPrintable(metadata.parseWarnings.first()));
        QVERIFY(metadata.parseWarnings.first().size() > QStringLiteral("XML parse error: ").size());
    }

private slots:
    void readsACameraClipFile()
    {
        const QString path = writeXml(cameraClipXml().toUtf8());
        ClipMetadata expected;
        expected.xmlURL = path;
        expected.clipName = QStringLiteral("0001AB");
        expected.globalClipID = umid;
        expected.frameRate = 59.94;
        expected.startTimecode = QStringLiteral("01:02:03:04");
        expected.audioChannelCount = 4;
        expected.recordingDateTimeRaw = QStringLiteral("2022-04-19T22:47:20-05:00");
        expected.durationFrames = 300;
        expected.videoCodec = QStringLiteral("DV100_1080/59.94i");
        // The neighbours' names and identifiers never stand in for the clip's own.
        const ShotConnection neighbour{QStringLiteral("0000AB"), neighbourUmid};
        expected.relation = ShotRelation{0, neighbourUmid, neighbour, neighbour, std::nullopt};
        expected.notes = ClipNotes{QStringLiteral("Interview, take 2"),
                                   QStringLiteral("Panasonic"),
                                   QStringLiteral("AJ-HPX3100G"),
                                   QStringLiteral("A1B2C3"),
                                   QStringLiteral("Sam"),
                                   QStringLiteral("12"),
                                   QStringLiteral("3"),
                                   QStringLiteral("Wind on the left mic\nGood take")};
        QCOMPARE(P2MetadataParser::parse(path), expected);
    }

    void readsUtf16AndOddPaths()
    {
        const QString text = cameraClipXml().replace(QStringLiteral("UTF-8"), QStringLiteral("UTF-16"));
        QByteArray utf16("\xFF\xFE", 2);
        utf16.append(reinterpret_cast<const char*>(text.utf16()), text.size() * 2);
        const QString path = writeXml(utf16, QStringLiteral("-my clip $1; \"é\" 'x'.XML"));
        const ClipMetadata metadata = P2MetadataParser::parse(path);
        QCOMPARE(metadata.xmlURL, path);
        QCOMPARE(metadata.globalClipID, umid);
        QCOMPARE(metadata.audioChannelCount, 4);
        QCOMPARE(metadata.parseWarnings, QStringList());
    }

    void namespacePrefixesAreKeptAndStillMatch()
    {
        const ClipMetadata metadata = parseText(
            QStringLiteral(
                R"(<p2:P2Main xmlns:p2="urn:schemas-Professional-Plug-in:P2:ClipMetadata:v3.0" p2:GlobalClipID="%1">)"
                R"(<p2:ClipName>0001AB</p2:ClipName><p2:EssenceList><p2:Audio/><Audio/></p2:EssenceList></p2:P2Main>)")
                .arg(umid));
        QCOMPARE(metadata.clipName, QStringLiteral("0001AB"));
        QCOMPARE(metadata.globalClipID, umid);
        // Whole-name tests see "p2:essencelist" and "p2:audio", which are neither.
        QCOMPARE(metadata.audioChannelCount, 0);
        QCOMPARE(metadata.parseWarnings, QStringList());
    }

    void firstGlobalClipIdIsKept()
    {
        const ClipMetadata metadata = parseText(
            "<P2Main><GlobalClipID>FIRST</GlobalClipID><GlobalClipID>SECOND</GlobalClipID></P2Main>");
        QCOMPARE(metadata.globalClipID, QStringLiteral("FIRST"));
        QCOMPARE(metadata.parseWarnings, QStringList());
    }

    void globalClipIdAttributeCountsAndComesFirst_data()
    {
        QTest::addColumn<QString>("xml");
        QTest::newRow("on the element itself") << "<P2Main><GlobalClipID GlobalClipID=\"ATTRIBUTE\">TEXT"
                                                  "</GlobalClipID></P2Main>";
        QTest::newRow("on an enclosing element")
            << "<P2Main><Clip GlobalClipID=\"ATTRIBUTE\"><GlobalClipID>TEXT"
               "</GlobalClipID></Clip></P2Main>";
        QTest::newRow("prefixed, any case")
            << "<P2Main><Clip p2:globalclipid=\"ATTRIBUTE\"><GlobalClipID>TEXT"
               "</GlobalClipID></Clip></P2Main>";
        QTest::newRow("attribute alone") << "<P2Main><Clip GlobalClipID=\"ATTRIBUTE\"/></P2Main>";
    }

    void globalClipIdAttributeCountsAndComesFirst()
    {
        QFETCH(QString, xml);
        QCOMPARE(parseText(xml).globalClipID, QStringLiteral("ATTRIBUTE"));
    }

    void audioElementsCountedOnlyInEssenceLists_data()
    {
        QTest::addColumn<QString>("xml");
        QTest::addColumn<int>("count");
        QTest::newRow("four in an essence list") << "<P2Main><ClipName>A</ClipName><EssenceList><Video/"
                                                    "><Audio/><Audio/><Audio/><Audio/></EssenceList>"
                                                    "</P2Main>"
                                                 << 4;
        QTest::newRow("outside any essence list")
            << "<P2Main><ClipName>A</ClipName><Audio/><EssenceList><Audio/></EssenceList><Audio/></P2Main>"
            << 1;
        QTest::newRow("no essence list") << "<P2Main><ClipName>A</ClipName><Audio/><Audio/></P2Main>" << 0;
        QTest::newRow("any case, whole names only") << "<P2Main><ClipName>A</ClipName><ESSENCELIST><audio/"
                                                       "><AUDIO/><AudioFormat/><Audios/></ESSENCELIST>"
                                                       "<essenceList2><Audio/></essenceList2></P2Main>"
                                                    << 2;
        QTest::newRow("nested inside the list")
            << "<P2Main><ClipName>A</ClipName><EssenceList><Group><Audio><Audio/></Audio></Group></"
               "EssenceList>"
               "</P2Main>"
            << 2;
    }

    void audioElementsCountedOnlyInEssenceLists()
    {
        QFETCH(QString, xml);
        QFETCH(int, count);
        const ClipMetadata metadata = parseText(xml);
        QCOMPARE(metadata.audioChannelCount, count);
        QCOMPARE(metadata.parseWarnings, QStringList());
    }

    void elementTextIsTrimmedAndBlankTextIgnored()
    {
        const ClipMetadata metadata = parseText(
            "<P2Main><ClipName>  \n\t </ClipName><ClipName>\n   0001AB \t\n</ClipName>"
            "<StartTimecode>   </StartTimecode><StartTimecode> 01:00:00:00 </StartTimecode></P2Main>");
        QCOMPARE(metadata.clipName, QStringLiteral("0001AB"));
        QCOMPARE(metadata.startTimecode, QStringLiteral("01:00:00:00"));
    }

    void pictureSize_data()
    {
        QTest::addColumn<QString>("xml");
        QTest::addColumn<std::optional<int>>("width");
        QTest::addColumn<std::optional<int>>("height");
        QTest::newRow("video resolution") << "<VideoResolution>1920x1080</VideoResolution>"
                                          << std::optional<int>(1920) << std::optional<int>(1080);
        QTest::newRow("resolution") << "<Resolution>1280 × 720</Resolution>" << std::optional<int>(1280)
                                    << std::optional<int>(720);
        QTest::newRow("resolution is whole-name only")
            << "<MaxResolution>1280x720</MaxResolution>" << std::optional<int>() << std::optional<int>();
        QTest::newRow("separate elements")
            << "<Width>960</Width><Height>720</Height>" << std::optional<int>(960) << std::optional<int>(720);
        QTest::newRow("attributes") << "<Picture StoredWidth=\"1440 px\" StoredHeight=\"1080px\"/>"
                                    << std::optional<int>(1440) << std::optional<int>(1080);
        QTest::newRow("last one wins") << "<Width>960</Width><VideoResolution>1920x1080</VideoResolution>"
                                          "<Height>720</Height>"
                                       << std::optional<int>(1920) << std::optional<int>(720);
        QTest::newRow("non-numeric width clears")
            << "<Width>1920</Width><Height>1080</Height><Width>wide</Width>" << std::optional<int>()
            << std::optional<int>(1080);
        QTest::newRow("bad resolution keeps earlier") << "<Width>960</Width><VideoResolution>1280x720x2"
                                                         "</VideoResolution>"
                                                      << std::optional<int>(960) << std::optional<int>();
        QTest::newRow("too large to hold")
            << "<Width>99999999999</Width>" << std::optional<int>() << std::optional<int>();
    }

    void pictureSize()
    {
        QFETCH(QString, xml);
        QFETCH(std::optional<int>, width);
        QFETCH(std::optional<int>, height);
        const ClipMetadata metadata = parseText("<P2Main><ClipName>A</ClipName>" + xml + "</P2Main>");
        QCOMPARE(metadata.width, width);
        QCOMPARE(metadata.height, height);
    }

    void namesMatchedBySubstringInAnyCase()
    {
        ClipMetadata metadata =
            parseText("<P2Main><ClipName>A</ClipName><STARTTIMECODE>01:00:00:00</STARTTIMECODE>"
                      "<x:creationdate>2026-07-01T10:00:00Z</x:creationdate></P2Main>");
        QCOMPARE(metadata.startTimecode, QStringLiteral("01:00:00:00"));
        QCOMPARE(metadata.recordingDateTimeRaw, QStringLiteral("2026-07-01T10:00:00Z"));

        // Whatever matches first wins, even a name that only contains the word.
        metadata =
            parseText("<P2Main><ClipName>A</ClipName><LastUpdateTimecode>23:59:59:29</LastUpdateTimecode>"
                      "<StartTimecode>01:00:00:00</StartTimecode><ShootStartDate>2026-07-02</ShootStartDate>"
                      "<CreationDate>2026-07-01</CreationDate></P2Main>");
        QCOMPARE(metadata.startTimecode, QStringLiteral("23:59:59:29"));
        QCOMPARE(metadata.recordingDateTimeRaw, QStringLiteral("2026-07-02"));
    }

    void frameRateFollowsTheLastThatParses()
    {
        const ClipMetadata metadata = parseText("<P2Main><ClipName>A</ClipName><FrameRate>25p</FrameRate>"
                                                "<FrameRate>29.97p</FrameRate><FrameRate>unknown</FrameRate>"
                                                "</P2Main>");
        QCOMPARE(metadata.frameRate, 29.97);
    }

    void keyRulesInOrder()
    {
        P2XMLScanDelegate state;
        state.applyKeyValue(QStringLiteral("ClipName"), QStringLiteral("0001AB"));
        state.applyKeyValue(QStringLiteral("ClipName"), QStringLiteral("0002AB"));
        QCOMPARE(state.clipName, QStringLiteral("0001AB"));
        // Once the name is set, a key that also names a later rule falls through to it.
        state.applyKeyValue(QStringLiteral("ClipNameTimecode"), QStringLiteral("01:00:00:00"));
        QCOMPARE(state.startTimecode, QStringLiteral("01:00:00:00"));
        // The identifier rule stops every later rule, even when it keeps its first value.
        state.applyKeyValue(QStringLiteral("GlobalClipID"), QStringLiteral("ID"));
        state.applyKeyValue(QStringLiteral("GlobalClipIDWidth"), QStringLiteral("640"));
        QCOMPARE(state.globalClipID, QStringLiteral("ID"));
        QCOMPARE(state.width, std::nullopt);
        // A frame rate that does not parse stops the size rules too.
        state.applyKeyValue(QStringLiteral("FrameRateWidth"), QStringLiteral("none"));
        QCOMPARE(state.frameRate, std::nullopt);
        QCOMPARE(state.width, std::nullopt);
        // Width is tested before height.
        state.applyKeyValue(QStringLiteral("WidthHeight"), QStringLiteral("720"));
        QCOMPARE(state.width, 720);
        QCOMPARE(state.height, std::nullopt);
        state.applyKeyValue(QStringLiteral("TimecodeStartDate"), QStringLiteral("2026"));
        QCOMPARE(state.recordingDateTimeRaw, QStringLiteral("2026"));
        QCOMPARE(state.startTimecode, QStringLiteral("01:00:00:00"));
    }

    void eventsDriveTheState()
    {
        P2XMLScanDelegate state;
        QXmlStreamAttributes attributes;
        attributes.append(QStringLiteral("GlobalClipID"), QStringLiteral("FROM ATTRIBUTE"));
        state.startElement(QStringLiteral("EssenceList"), attributes);
        QVERIFY(state.sawEssenceList);
        QCOMPARE(state.globalClipID, QStringLiteral("FROM ATTRIBUTE"));
        state.startElement(QStringLiteral("Audio"), {});
        state.foundCharacters(u"  00:00:");
        state.foundCharacters(u"01:02  ");
        QCOMPARE(state.currentText, QStringLiteral("  00:00:01:02  "));
        state.endElement(QStringLiteral("StartTimecode"));
        QCOMPARE(state.startTimecode, QStringLiteral("00:00:01:02"));
        QCOMPARE(state.currentText, QString());
        state.endElement(QStringLiteral("ESSENCELIST"));
        QVERIFY(!state.sawEssenceList);
        state.startElement(QStringLiteral("Audio"), {});
        QCOMPARE(state.audioElementCount, 1);
    }

    void parseFrameRate_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<std::optional<double>>("rate");
        QTest::newRow("29.97p") << "29.97p" << std::optional<double>(29.97);
        QTest::newRow("59.94i") << "59.94i" << std::optional<double>(59.94);
        QTest::newRow("25p") << "25p" << std::optional<double>(25);
        QTest::newRow("23.98p") << "23.98p" << std::optional<double>(23.98);
        QTest::newRow("text before") << "rate 50i" << std::optional<double>(50);
        QTest::newRow("first run only") << "p24 and 30" << std::optional<double>(24);
        QTest::newRow("leading point") << ".5" << std::optional<double>(0.5);
        QTest::newRow("no run") << "progressive" << std::optional<double>();
        QTest::newRow("empty") << "" << std::optional<double>();
        QTest::newRow("two points") << "1.2.3" << std::optional<double>();
        QTest::newRow("point alone") << "p.i" << std::optional<double>();
        QTest::newRow("too large") << QString(400, QLatin1Char('9')) << std::optional<double>();
    }

    void parseFrameRate()
    {
        QFETCH(QString, text);
        QFETCH(std::optional<double>, rate);
        QCOMPARE(P2MetadataParser::parseFrameRate(text), rate);
    }

    void parseResolution_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("valid");
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("height");
        QTest::newRow("1280x720") << "1280x720" << true << 1280 << 720;
        QTest::newRow("upper X") << "1920X1080" << true << 1920 << 1080;
        QTest::newRow("times sign with spaces") << "1920 × 1080" << true << 1920 << 1080;
        QTest::newRow("units dropped") << "960px x 720px" << false << 0 << 0;
        QTest::newRow("three parts") << "1280x720x2" << false << 0 << 0;
        QTest::newRow("no separator") << "1280" << false << 0 << 0;
        QTest::newRow("missing width") << "x720" << false << 0 << 0;
        QTest::newRow("non-numeric height") << "1280xHD" << false << 0 << 0;
        QTest::newRow("digits kept from noise") << "w1280 x h720" << true << 1280 << 720;
    }

    void parseResolution()
    {
        QFETCH(QString, text);
        QFETCH(bool, valid);
        QFETCH(int, width);
        QFETCH(int, height);
        const auto size = P2MetadataParser::parseResolution(text);
        QCOMPARE(size.has_value(), valid);
        if (valid)
            QCOMPARE(*size, std::pair(width, height));
    }

    void unrecognisedSchemaIsReported()
    {
        const ClipMetadata metadata = parseText("<Root><Title>Holiday</Title><EssenceList/></Root>");
        QCOMPARE(metadata.parseWarnings,
                 QStringList{"Recognized no ClipName/GlobalClipID; XML schema may be unfamiliar"});
        QCOMPARE(metadata.audioChannelCount, 0);
    }

    void unreadableFiles()
    {
        const QString missing = m_dir.filePath(QStringLiteral("missing.XML"));
        verifyUnreadable(P2MetadataParser::parse(missing), missing);

        const QString folder = m_dir.filePath(QStringLiteral("folder.XML"));
        QVERIFY(QDir().mkpath(folder));
        verifyUnreadable(P2MetadataParser::parse(folder), folder);

        // A FIFO would block an open for ever.
        const QString fifo = m_dir.filePath(QStringLiteral("fifo.XML"));
        QCOMPARE(::mkfifo(QFile::encodeName(fifo).constData(), 0644), 0);
        verifyUnreadable(P2MetadataParser::parse(fifo), fifo);

        // Far too large to be clip metadata; sparse, so it costs no disk.
        const QString huge = m_dir.filePath(QStringLiteral("huge.XML"));
        QFile hugeFile(huge);
        QVERIFY(hugeFile.open(QIODevice::WriteOnly) && hugeFile.resize(65 * 1024 * 1024));
        hugeFile.close();
        verifyUnreadable(P2MetadataParser::parse(huge), huge);
    }

    void fileWithoutReadPermission()
    {
        const QString path = writeXml(cameraClipXml().toUtf8());
        QVERIFY(CardTree::grantReadToEveryone(m_dir.path()));
        QVERIFY(QFile::setPermissions(path, QFileDevice::WriteOwner));
        ClipMetadata metadata;
        {
            const CardTree::UnprivilegedFileAccess access;
            if (!access.effective())
                QSKIP("Running as root without the right to drop file-system privileges; permission bits are "
                      "ignored, so no file can be made unreadable.");
            metadata = P2MetadataParser::parse(path);
        }
        verifyUnreadable(metadata, path);
    }

    void truncatedFileKeepsWhatWasRead()
    {
        const QByteArray whole = cameraClipXml().toUtf8();
        const ClipMetadata metadata =
            P2MetadataParser::parse(writeXml(whole.left(whole.indexOf("<Relation>"))));
        QCOMPARE(metadata.clipName, QStringLiteral("0001AB"));
        QCOMPARE(metadata.globalClipID, umid);
        QCOMPARE(metadata.startTimecode, QStringLiteral("01:02:03:04"));
        QCOMPARE(metadata.audioChannelCount, 4);
        QCOMPARE(metadata.parseWarnings.size(), 1);
        verifyParseError(metadata);
        QVERIFY2(metadata.parseWarnings.first().contains(QStringLiteral("Premature end of document")),
                 qPrintable(metadata.parseWarnings.first()));
    }

    void malformedInputEndsWithAWarning_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<std::optional<QString>>("clipName");
        const std::optional<QString> none;
        const std::optional<QString> readFirst = QStringLiteral("0001AB");

        QTest::newRow("empty file") << QByteArray() << none;
        QTest::newRow("mismatched tags") << QByteArray("<P2Main><ClipName>0001AB</Clip></P2Main>") << none;
        QTest::newRow("undeclared entity")
            << QByteArray("<P2Main><ClipName>A&nope;</ClipName></P2Main>") << none;
        QTest::newRow("billion laughs") << billionLaughs() << readFirst;
        // Refused as soon as its declarations are known, before any element.
        QTest::newRow("quadratic blowup") << quadraticBlowup() << none;
        QTest::newRow("deep nesting") << QByteArray("<a>").repeated(200000) << none;
        QTest::newRow("two roots") << QByteArray("<P2Main><ClipName>0001AB</ClipName></P2Main><P2Main/>")
                                   << readFirst;

        QByteArray binary(5 * 1024 * 1024, Qt::Uninitialized);
        QRandomGenerator random(20260701);
        random.fillRange(reinterpret_cast<quint32*>(binary.data()), binary.size() / 4);
        QTest::newRow("5 MB of binary") << binary << none;
        QTest::newRow("garbage after a good start")
            << QByteArray("<P2Main><ClipName>0001AB</ClipName><<&&]]>\x01\x02") + QByteArray(1024 * 1024, '<')
            << readFirst;
    }

    void malformedInputEndsWithAWarning()
    {
        QFETCH(QByteArray, content);
        QFETCH(std::optional<QString>, clipName);
        const ClipMetadata metadata = P2MetadataParser::parse(writeXml(content));
        verifyParseError(metadata);
        QCOMPARE(metadata.clipName, clipName);
        QCOMPARE(metadata.audioChannelCount, 0);
        const QStringList unfamiliar{"Recognized no ClipName/GlobalClipID; XML schema may be unfamiliar"};
        QCOMPARE(metadata.parseWarnings.mid(1), clipName ? QStringList() : unfamiliar);
    }

    void parseErrorWithoutDescription()
    {
        QCOMPARE(P2MetadataParser::parseErrorWarning(QString()),
                 QStringLiteral("XML parse error: Unknown XML parse error"));
        QCOMPARE(P2MetadataParser::parseErrorWarning(QStringLiteral("Bad thing.")),
                 QStringLiteral("XML parse error: Bad thing."));
    }
};

int runMetadataParserTests(int argc, char** argv)
{
    MetadataParserTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "MetadataParserTest.moc"
