// GoogleTest with a pool of its own for every test, emptied before the next.
#import <objc/NSObject.h>

#include <gtest/gtest.h>

extern "C" {
void* objc_autoreleasePoolPush();
void objc_autoreleasePoolPop(void* pool);
}

namespace {

class PoolPerTest final : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo& /*test*/) override {
        pool_ = objc_autoreleasePoolPush();
    }
    void OnTestEnd(const testing::TestInfo& /*test*/) override { objc_autoreleasePoolPop(pool_); }

    void* pool_ = nullptr;
};

} // namespace

int main(int count, char** arguments) {
    @autoreleasepool {
        testing::InitGoogleTest(&count, arguments);
        testing::UnitTest::GetInstance()->listeners().Append(new PoolPerTest);
        return RUN_ALL_TESTS();
    }
}
