#pragma once

#include <functional>
#include <optional>

#include "platform/clock/mutex.h"

// Yes or no, as a sibling is to know it: what was said last counts, and what could not be told is told again. Safe from
// any thread; when two tell at once, the sibling is left with the later word.
class CStandingWord {
 public:
  // Brings a word to the sibling: whether it was accepted, or nothing when the sibling cannot be reached.
  using CBring = std::function<std::optional<bool>(bool word)>;

  explicit CStandingWord(CBring bring);

  // True when the word was told and accepted.
  bool Tell(bool word);
  // To be called when the sibling was heard of: tells what could not be told before, if there is such a word.
  void Repeat();

 private:
  bool BringLatest() EXCLUDES(mMutex);

  // Constant after construction.
  const CBring mBring;

  CMutex mMutex;
  std::optional<bool> mWord GUARDED_BY(mMutex);
  std::optional<bool> mTold GUARDED_BY(mMutex);
};
