#pragma once

#include <gtest/gtest.h>

#include <filesystem>

#include "support/temporary_folder.h"

/// A test with a folder of its own as the current one, where the module looks for its socket.
class OwnFolder : public testing::Test {
protected:
    OwnFolder() { std::filesystem::current_path(folder.path()); }
    ~OwnFolder() override { std::filesystem::current_path(former); }

    const std::filesystem::path former = std::filesystem::current_path();
    const TemporaryFolder folder;
    const std::string socket = folder.path("scenes");
};
