#pragma once

/// How pictures become tracks. The defaults were found by measuring on real video; seconds unless
/// the name says otherwise.
struct AnalysisSettings {
    // The background.
    double backgroundMemory = 100;  ///< time constant of learning
    double settledMemory = 30;      ///< the same right after the warm-up; grows with running time
    double warmUp = 2.0;            ///< without detections,
    int warmUpPictures = 25;        ///< and at least for so many pictures
    double varianceThreshold = 20;  ///< squared distance from which a pixel is foreground
    double leastVariance = 10;      ///< of a pixel; clean, compressed video has too little
    double hold = 30;               ///< how long a standing object is kept out of the background
    double blinkShare = 0.12;       ///< a pixel that toggles in more of the pictures is silenced
    double blinkMemory = 8;         ///< over which that share is taken
    double floodShare = 0.6;        ///< more foreground means that the light has changed
    double floodPause = 2;          ///< without detections after that
    double lightCorrelation = 0.8;  ///< like the background, only brighter or darker: light
    double lightLeastShare = 0.01;  ///< of the view; smaller blobs are not looked at for light

    // Blobs.
    double leastShare = 0.0006;  ///< of the view
    int mostBlobs = 64;          ///< the largest ones

    // Tracks.
    double confirmAfter = 0.4;  ///< a track must be seen so long,
    int confirmPictures = 4;    ///< and in so many pictures, before it is told
    double mergeAfter = 0.35;   ///< a track must be swallowed so long before it counts as merged
    double coast = 1.0;         ///< a track survives unseen
    double coastLeaving = 0.2;  ///< the same at the border of the view
    double coastUnconfirmed = 0.25;  ///< the same before it is confirmed
    int mostVertices = 20;           ///< of an outline
};
