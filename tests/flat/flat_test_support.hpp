// A flat handle connected to a virtual adapter, for the tests of the flat interface.
#pragma once

#include "sdk_fixture.hpp"

#include <tarvixsdk/tarvixsdk.h>

namespace tarvix_test {

class FlatSessionTest : public VirtualAdapterTest {
protected:
    void SetUp() override
    {
        VirtualAdapterTest::SetUp();
        handle_ = TarvixSDK_Create(kTimeoutMs);
        ASSERT_NE(handle_, nullptr);
        ASSERT_TRUE(TarvixSDK_Connect(handle_, nullptr));
    }
    void TearDown() override
    {
        TarvixSDK_Destroy(handle_);
        VirtualAdapterTest::TearDown();
    }

    TarvixSDK_Handle* h() { return handle_; }
    std::size_t requestCount() { return adapter().requests().size(); }

    // The payload (from byte 4) of the last request.
    Bytes lastPayload() const
    {
        const Bytes frame = lastRequest();
        return frame.size() < 4 ? Bytes{} : Bytes(frame.begin() + 4, frame.end());
    }

private:
    TarvixSDK_Handle* handle_ = nullptr;
};

} // namespace tarvix_test
