// (being written)
#include "QmTestSupport.h"
class TestTimeline : public QObject
{
    Q_OBJECT
};
QM_TEST_MAIN(TestTimeline)
#include "test_timeline.moc"
