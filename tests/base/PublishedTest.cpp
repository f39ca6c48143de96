#include "base/Published.h"

#include <gtest/gtest.h>
#include <vector>

using namespace ombru;

namespace {

class Controller {
public:
    Published<Controller, int> number{this, 1};
    Published<Controller, std::vector<int>> list{this};
    std::vector<int> before; // the number as it was whenever a change was announced

    void set(int value) { number = value; }
    void append(int value) {
        list.edit([value](std::vector<int> &items) { items.push_back(value); });
    }
    void willChange() { before.push_back(number); }
};

} // namespace

TEST(Published, AnnouncesAChangeBeforeItTakesEffect) {
    Controller controller;
    controller.set(2);
    EXPECT_EQ(controller.before, std::vector{1});
    EXPECT_EQ(controller.number(), 2);
}

TEST(Published, WritingTheSameValueIsNoChange) {
    Controller controller;
    controller.set(1);
    EXPECT_TRUE(controller.before.empty());
}

TEST(Published, ContainersChangeThroughEdit) {
    Controller controller;
    controller.append(5);
    EXPECT_EQ(controller.list(), std::vector{5});
    EXPECT_EQ(controller.before.size(), 1u);
}
