// Watches the streams that the process opens and closes, so that closing one twice is seen even
// when its memory has been given to another stream in between.

#ifndef QVL_TESTS_TRACE_STREAM_WATCH_H
#define QVL_TESTS_TRACE_STREAM_WATCH_H

namespace QVL {
namespace Test {

// How often fclose was called, since the process started, for a stream that was closed already. The
// call goes no further then.
int streamsClosedTwice();

// How many streams were opened and are still open.
int openStreams();

}  // namespace Test
}  // namespace QVL

#endif  // QVL_TESTS_TRACE_STREAM_WATCH_H
