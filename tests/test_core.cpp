#include "core/QmError.h"
#include "core/QmNumbers.h"

#include <QTest>

using namespace QmNumbers;

class TestCore : public QObject
{
    Q_OBJECT

private slots:
    void roundingIsHalfToEven();
    void conversionsOverflowWithError6();
    void formats_data();
    void formats();
};

void TestCore::roundingIsHalfToEven()
{
    QCOMPARE(RoundHalfEven(0.5), 0.0);
    QCOMPARE(RoundHalfEven(1.5), 2.0);
    QCOMPARE(RoundHalfEven(2.5), 2.0);
    QCOMPARE(RoundHalfEven(-2.5), -2.0);
    QCOMPARE(RoundHalfEven(2.500001), 3.0);
    QCOMPARE(CInt(12.5), int16_t(12));
    QCOMPARE(CInt(13.5), int16_t(14));
    QCOMPARE(CLng(-7.5), -8);
    QCOMPARE(IntPart(3.99), 3.0);
    QCOMPARE(IntPart(-3.99), -3.0);
}

void TestCore::conversionsOverflowWithError6()
{
    QCOMPARE(CInt(32767.4), int16_t(32767));
    QCOMPARE(CInt(-32768.0), int16_t(-32768));
    QCOMPARE(ToInt16(32767), int16_t(32767));
    const auto expectOverflow = [](auto&& call) {
        try {
            call();
        } catch (const QmError& e) {
            QCOMPARE(e.Number(), QmErr::Overflow);
            return;
        }
        QFAIL("no overflow raised");
    };
    expectOverflow([] { CInt(32767.5); }); // rounds to 32768
    expectOverflow([] { CInt(-32769.0); });
    expectOverflow([] { ToInt16(32768); });
    expectOverflow([] { CLng(2147483648.0); });
    expectOverflow([] { CLng(std::nan("")); });
}

void TestCore::formats_data()
{
    QTest::addColumn<double>("value");
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QString>("text");

    QTest::newRow("zero with #.00 has no leading digit") << 0.0 << "#.00" << ".00";
    QTest::newRow("below one") << 0.5 << "#.00" << ".50";
    QTest::newRow("bytes") << 500.0 << "#.00" << "500.00";
    QTest::newRow("kilobytes") << 1.5 << "#.00" << "1.50";
    QTest::newRow("rounds up into the whole part") << 0.996 << "#.00" << "1.00";
    QTest::newRow("half away from zero") << 1.005 << "#.00" << "1.01";
    QTest::newRow("negative") << -0.5 << "#.00" << "-.50";
    QTest::newRow("negative rounding to zero has no sign") << -0.001 << "#.00" << ".00";
    QTest::newRow("0") << 0.0 << "0" << "0";
    QTest::newRow("0 rounds half away") << 2.5 << "0" << "3";
    QTest::newRow("00 pads") << 5.0 << "00" << "05";
    QTest::newRow("00 wider") << 1234.0 << "00" << "1234";
    QTest::newRow("00 negative") << -5.0 << "00" << "-05";
    QTest::newRow("000") << 7.0 << "000" << "007";
    QTest::newRow("0000") << 42.0 << "0000" << "0042";
}

void TestCore::formats()
{
    QFETCH(double, value);
    QFETCH(QString, pattern);
    QFETCH(QString, text);
    QCOMPARE(Format(value, pattern), text);
}

QTEST_APPLESS_MAIN(TestCore)
#include "test_core.moc"
