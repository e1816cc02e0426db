#include "src/components/operation/ocpp16/implementation/getlocallistversionoperation.h"

#include "tests/unit/src/components/operation/ocpp16/implementation/locallistfixture.h"

namespace {

class GetLocalListVersion : public CLocalListTest {
 protected:
  std::string Ask()
  {
    CGetLocalListVersionInCall operation(&mAccess, "id");
    const std::string frame = operation.Execute("{}");
    operation.PostAction();
    return frame;
  }
};

}  // namespace

TEST_F(GetLocalListVersion, VersionOfTheListIsAnswered)
{
  EXPECT_EQ(Send(Full(int64_t{1} << 40, Tag("TAG"))), "Accepted");
  EXPECT_EQ(Ask(), R"([3,"id",{"listVersion":1099511627776}])");
}

TEST_F(GetLocalListVersion, EmptyListIsAnsweredZero) { EXPECT_EQ(Ask(), R"([3,"id",{"listVersion":0}])"); }

TEST_F(GetLocalListVersion, ListThatIsNotEnabledIsAnsweredMinusOne)
{
  mManager->list.reset();
  EXPECT_EQ(Ask(), R"([3,"id",{"listVersion":-1}])");
}

TEST_F(GetLocalListVersion, StationWithoutAnAuthorizationManagerHasNoList)
{
  mAccess.RegisterHandle(std::shared_ptr<IAuthorizationManager>());
  EXPECT_EQ(Ask(), R"([3,"id",{"listVersion":-1}])");
}
