#include "src/components/standingword.h"

#include <utility>

CStandingWord::CStandingWord(CBring bring) : mBring(std::move(bring)) {}

bool CStandingWord::Tell(bool word)
{
  {
    CLock lock(mMutex);
    mWord = word;
    mTold.reset();
  }
  return BringLatest();
}

void CStandingWord::Repeat() { BringLatest(); }

bool CStandingWord::BringLatest()
{
  bool isAccepted = true;
  for (;;) {
    bool word = false;
    {
      CLock lock(mMutex);
      if (mTold == mWord) return isAccepted;
      word = *mWord;
    }
    const auto answer = mBring(word);
    if (!answer) return false;
    isAccepted = *answer;
    CLock lock(mMutex);
    mTold = word;
  }
}
