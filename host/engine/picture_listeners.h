#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "engine/source.h"

/// Hands each picture on to several, in the order in which they were added.
class PictureListeners : public PictureListener {
public:
    void add(std::unique_ptr<PictureListener> listener) {
        listeners.push_back(std::move(listener));
    }

    void onPicture(const Picture& picture) override {
        for (const auto& listener : listeners) {
            listener->onPicture(picture);
        }
    }

private:
    std::vector<std::unique_ptr<PictureListener>> listeners;
};
