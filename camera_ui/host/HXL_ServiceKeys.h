#pragma once

// Registry keys of the host services (32-bit signed). They are entries of the
// standard reflected CRC-32 table (polynomial 0xEDB88320); the index is given
// beside each key.
namespace HXLServiceKey {
constexpr int VisionCameraManager = -1637575261;   // 0x9E6495A3, entry 7
constexpr int AppService = 249268274;              // 0x0EDB8832, entry 8
constexpr int EntityFactory = -301047508;          // 0xEE0E612C, entry 2
constexpr int RobotService = 1886057615;           // 0x706AF48F, entry 5
constexpr int CCDImageCombineManager = -522852066; // 0xE0D5E91E, entry 10
constexpr int PartFactory = 1996959894;            // 0x77073096, entry 1
constexpr int VisionLocatorManager = 2044508324;   // 0x79DCB8A4, entry 9
} // namespace HXLServiceKey
