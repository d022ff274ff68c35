#pragma once

#include <atomic>
#include <string>

/// Publishes how much of the picture moved lately: once a period, the greatest area that a single
/// scene's objects covered, in percent of the picture.
///
/// start(), stop() and isActive() may be called from any thread; the rest is serialised by the
/// camera's lock. The event is declared by the first scene after start() and stays declared through
/// stop(), until destruction.
class MotionLevelEventProducer {
public:
    /// `period` is in microseconds.
    MotionLevelEventProducer(int cameraId, long period);
    /// Gives the declaration up, if there is one.
    ~MotionLevelEventProducer();
    MotionLevelEventProducer(const MotionLevelEventProducer&) = delete;
    MotionLevelEventProducer& operator=(const MotionLevelEventProducer&) = delete;

    void start() { active = true; }
    void stop() { active = false; }
    bool isActive() const { return active; }

    /// Takes one scene: the area of its objects in square scene units and its time in monotonic
    /// microseconds. Does nothing unless active. What cannot be declared or sent is tried again by
    /// the next scene.
    void sendEvent(int area, const long& time);

private:
    bool declare();
    bool sendLevel(const long& time);

    const std::string eventName;
    bool hasPeriodStart = false;
    long periodStart = 0;
    const long period;
    /// The greatest area of the period; -1 when one has just begun.
    int maxArea = -1;
    bool declared = false;
    std::atomic<bool> active{false};
};
