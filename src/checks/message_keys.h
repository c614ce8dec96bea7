#pragma once

/// Message keys of the tests, letter for letter as the host's language files have them.
namespace ostria::storage::keys {

// Refusals and ends that all tests share.
inline constexpr char kSystemEventHappened[] =
    "TEST_ABORTED_BECAUSE_A_SYSTEM_EVENT_THAT_COULD_COMPROMISE_THE_OUTCOME_HAS_HAPPENED";
inline constexpr char kDeviceNotIdentified[] =
    "THIS_TEST_CANNOT_BE_PERFORMED_BECAUSE_THE_DEVICE_COULD_NOT_BE_IDENTIFIED_OR_HAS_BEEN_"
    "DISCONNECTED";
inline constexpr char kInvalidProtocol[] =
    "THIS_TEST_CANNOT_BE_PERFORMED_BECAUSE_THE_PROTOCOL_BEING_USED_BY_THE_DEVICE_IS_INVALID";
inline constexpr char kNotSupportedInThisDevice[] = "TEST_NOT_SUPPORTED_IN_THIS_DEVICE";
inline constexpr char kNotSupportedInExternalDevice[] = "TEST_NOT_SUPPORTED_IN_EXTERNAL_DEVICE";
inline constexpr char kNotSupportedInSsd[] = "TEST_NOT_SUPPORTED_IN_SSD";
inline constexpr char kForSsdsOnly[] = "TEST_APPLICABLE_FOR_SSDs_ONLY";
inline constexpr char kSmartNotSupported[] = "SMART_NOT_SUPPORTED";
inline constexpr char kCannotEnableSmart[] = "CANNOT_ENABLE_SMART";
inline constexpr char kPasswordProtected[] = "HARD_DISK_IS_PASSWORD_PROTECTED";
inline constexpr char kTryToDisablePassword[] = "TRY_TO_DISABLE_THE_PASSWORD_PROTECTION";

// Findings of reads.
inline constexpr char kDeviceCommunicationFailure[] = "DEVICE_COMMUNICATION_FAILURE";
inline constexpr char kCannotAccessDevice[] = "CANNOT_ACCESS_DEVICE";
inline constexpr char kReadOperationTimeout[] = "READ_OPERATION_TIMEOUT";
inline constexpr char kReadingSector[] = "READING_SECTOR";
inline constexpr char kTooManyBadSectors[] = "TOO_MANY_BAD_SECTORS_FOUND";
inline constexpr char kCannotReadLogs[] = "CANNOT_READ_ANYTHING_FROM_LOGS";
inline constexpr char kBadSectorsFound[] = "BAD_SECTORS_WERE_FOUND";
inline constexpr char kNumberOfBadBlocks[] = "NUMBER_OF_BLOCKS_WITH_BAD_SECTORS";
inline constexpr char kBlocksNotListed[] = "NUMBER_OF_BLOCKS_NOT_LISTED";
inline constexpr char kBadSectorsInRange[] = "BAD_SECTORS_IN_THE_FOLLOWING_RANGE";

// SMART.
inline constexpr char kSmartDataNotValid[] =
    "THIS_TEST_CANNOT_BE_PERFORMED_BECAUSE_THE_DATA_RECEIVED_FROM_THE_|S|M|A|R|T_DEVICE_IS_NOT_"
    "VALID";
inline constexpr char kWearoutLimitReached[] = "SSD_HAS_REACHED_WEAROUT_LIMIT";
inline constexpr char kWearoutLimitClose[] = "SSD_IS_CLOSE_TO_WEAROUT_LIMIT";
inline constexpr char kHealthDegraded[] =
    "DEVICE'S_HEALTH_HAS_BEEN_DEGRADED._|PLEASE_CONSIDER_DOING_DATA_BACKUP.";
inline constexpr char kDiskHealth[] = "DISK_HEALTH:";
inline constexpr char kNoDeviceAttributes[] =
    "THIS_TEST_CANNOT_BE_PERFORMED_BECAUSE_THE_APPLICATION_WAS_UNABLE_TO_OBTAIN_THE_DEVICE_"
    "ATTRIBUTES";

// Self-tests of the drive.
inline constexpr char kSmartDataNotCached[] =
    "THIS_TEST_CANNOT_BE_PERFORMED_BECAUSE_THE_|S|M|A|R|T_DATA_COULD_NOT_BE_CACHED";
inline constexpr char kNoOfflineExecution[] =
    "THIS_TEST_CANNOT_BE_PERFORMED_BECAUSE_THE_DEVICE_DOES_NOT_SUPPORT_|OFFLINE_|EXECUTION";
inline constexpr char kUnexpectedEvent[] =
    "THIS_TEST_CANNOT_BE_PERFORMED_BECAUSE_AN_UNEXPECTED_EVENT_HAS_OCURRED";
inline constexpr char kConveyanceNotSupported[] = "CONVEYANCE_TEST_NOT_SUPPORTED";
inline constexpr char kCannotPerformSelfTest[] = "CANNOT_PERFORM_SELF_TEST";
inline constexpr char kOtherSelfTestInProgress[] = "OTHER_SELF_TEST_ALREADY_IN_PROGRESS";
inline constexpr char kOtherSelfTestAborted[] = "OTHER_SELF_TEST_ALREADY_IN_PROGRESS_WAS_ABORTED";
inline constexpr char kCannotAbortOtherSelfTest[] =
    "CANNOT_ABORT_OTHER_SELF_TEST_ALREADY_IN_PROGRESS";
inline constexpr char kInvalidParameterValue[] = "INVALID_PARAMETER_VALUE";
inline constexpr char kFinishedWithTimeout[] = "TEST_FINISHED_WITH_TIMEOUT";
inline constexpr char kAbortedByExternalFactor[] = "SELF_TEST_ABORTED_BY_EXTERNAL_FACTOR";
inline constexpr char kCriticalInterruption[] = "CRITICAL_INTERRUPTION_DETECTED";
inline constexpr char kUnknownErrorDetected[] = "UNKNOWN_ERROR_DETECTED";
inline constexpr char kElectricalErrorDetected[] = "ELECTRICAL_ERROR_DETECTED";
inline constexpr char kSeekErrorDetected[] = "SEEK_ERROR_DETECTED";
inline constexpr char kReadErrorDetected[] = "READ_ERROR_DETECTED";
inline constexpr char kHandlingDamageDetected[] = "HANDLING_DAMAGE_DETECTED";
inline constexpr char kInconclusiveResult[] = "INCONCLUSIVE_RESULT";

// Parameters.
inline constexpr char kStartRange[] = "START_RANGE";
inline constexpr char kStartRangeLabel[] = "START_RANGE_(%)";
inline constexpr char kStartRangeDescription[] = "DEFINES_THE_START_POINT_OF_TEST_AREA.";
inline constexpr char kStopRange[] = "STOP_RANGE";
inline constexpr char kStopRangeLabel[] = "STOP_RANGE_(%)";
inline constexpr char kStopRangeDescription[] = "DEFINES_THE_END_POINT_OF_TEST_AREA.";
inline constexpr char kCoverageArea[] = "COVERAGE_AREA";
inline constexpr char kCoverageAreaLabel[] = "COVERAGE_AREA(%)";
inline constexpr char kCoverageAreaDescription[] = "DEFINES_THE_COVERAGE_OF_TEST_AREA.";
inline constexpr char kErrorLimit[] = "ERROR_LIMIT";
inline constexpr char kErrorLimitDescription[] = "ERROR_LIMIT_DESCRIPTION";
inline constexpr char kInvalidParameter[] = "INVALID_PARAMETER";
inline constexpr char kDuplicatedParameter[] = "DUPLICATED_PARAMETER";
inline constexpr char kUseNumber0To99[] = "USE_A_NUMERICAL_VALUE_BETWEEN_0_AND_99";
inline constexpr char kUseNumber1To100[] = "USE_A_NUMERICAL_VALUE_BETWEEN_1_AND_100";
inline constexpr char kUseNumber0To100[] = "USE_A_NUMERICAL_VALUE_BETWEEN_0_AND_100";
inline constexpr char kStartNotBelowStop[] = "THE_START_VALUE_SHOULD_BE_LESS_THAN_THE_END_VALUE.";

}  // namespace ostria::storage::keys
