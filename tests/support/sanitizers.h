#pragma once

/// 1 when the program runs under AddressSanitizer or ThreadSanitizer, otherwise 0.
#define IS_SANITIZED 0
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#undef IS_SANITIZED
#define IS_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#undef IS_SANITIZED
#define IS_SANITIZED 1
#endif
#endif

constexpr bool isSanitized = IS_SANITIZED == 1;
