// One line of text per traced frame. (Placeholder until the per-family decoder lands.)
#include <tarvixsdk/tarvixsdk.hpp>

std::string describeFrame(const TraceFrame& frame)
{
    std::string line = frame.direction == TraceDirection::OUT ? "OUT" : "IN";
    return line;
}
