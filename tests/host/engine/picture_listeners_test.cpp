#include "engine/picture_listeners.h"

#include <gmock/gmock.h>

namespace {

class Writer : public PictureListener {
public:
    Writer(std::string name, std::vector<std::string>& target)
        : label(std::move(name)), log(target) {}
    void onPicture(const Picture& picture) override {
        log.push_back(label + std::to_string(picture.time));
    }

private:
    const std::string label;
    std::vector<std::string>& log;
};

}  // namespace

TEST(PictureListeners, HandEachPictureToAllInTheirOrder) {
    std::vector<std::string> log;
    PictureListeners listeners;
    listeners.onPicture({nullptr, 0});
    listeners.add(std::make_unique<Writer>("a", log));
    listeners.add(std::make_unique<Writer>("b", log));
    listeners.onPicture({nullptr, 1});
    listeners.onPicture({nullptr, 2});
    EXPECT_THAT(log, testing::ElementsAre("a1", "b1", "a2", "b2"));
}
