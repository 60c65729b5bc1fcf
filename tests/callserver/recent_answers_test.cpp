#include "registrar/recent_answers.h"

#include <gtest/gtest.h>

namespace {

RegisterReply replyOf(int status)
{
    RegisterReply reply;
    reply.status = status;
    reply.phrase = "phrase " + std::to_string(status);
    return reply;
}

TEST(RecentAnswers, KeepWhatWasNotASuccess)
{
    RecentAnswers answers;
    answers.add(1, 0, replyOf(200));
    answers.add(2, 0, replyOf(423));
    ASSERT_NE(answers.find(1, 0), nullptr);
    EXPECT_EQ(answers.find(1, 0)->other, nullptr);
    ASSERT_NE(answers.find(2, 0), nullptr);
    ASSERT_NE(answers.find(2, 0)->other, nullptr);
    EXPECT_EQ(answers.find(2, 0)->other->status, 423);
    EXPECT_EQ(answers.find(2, 0)->other->phrase, "phrase 423");
    EXPECT_EQ(answers.find(3, 0), nullptr);
}

TEST(RecentAnswers, AreKeptAsLongAsARequestMayBeRepeated)
{
    RecentAnswers answers;
    answers.add(1, 5, replyOf(200));
    EXPECT_NE(answers.find(1, 5 + RecentAnswers::kRepeatMs - 1), nullptr);
    EXPECT_EQ(answers.find(1, 5 + RecentAnswers::kRepeatMs), nullptr);
}

TEST(RecentAnswers, AreBoundedAndTheOldestGoes)
{
    RecentAnswers answers;
    const uint64_t count = RecentAnswers::kMaxAnswers;
    for (uint64_t i = 0; i <= count; ++i)
        answers.add(i, static_cast<int64_t>(i), replyOf(200));
    EXPECT_EQ(answers.find(0, static_cast<int64_t>(count)), nullptr);
    for (uint64_t i = 1; i <= count; ++i)
        EXPECT_NE(answers.find(i, static_cast<int64_t>(count)), nullptr) << i;
}

} // namespace
