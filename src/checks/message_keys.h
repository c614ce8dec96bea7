#pragma once

/// Message keys of the tests, letter for letter as the host's language files have them.
namespace ostria::storage::keys {

// Refusals and ends that all tests share.
inline constexpr char SystemEventHappened[] =
    "TEST_ABORTED_BECAUSE_A_SYSTEM_EVENT_THAT_COULD_COMPROMISE_THE_OUTCOME_HAS_HAPPENED";
inline constexpr char DeviceNotIdentified[] =
    "THIS_TEST_CANNOT_BE_PERFORMED_BECAUSE_THE_DEVICE_COULD_NOT_BE_IDENTIFIED_OR_HAS_BEEN_"
    "DISCONNECTED";
inline constexpr char InvalidProtocol[] =
    "THIS_TEST_CANNOT_BE_PERFORMED_BECAUSE_THE_PROTOCOL_BEING_USED_BY_THE_DEVICE_IS_INVALID";
inline constexpr char NotSupportedInThisDevice[] = "TEST_NOT_SUPPORTED_IN_THIS_DEVICE";
inline constexpr char NotSupportedInExternalDevice[] = "TEST_NOT_SUPPORTED_IN_EXTERNAL_DEVICE";
inline constexpr char NotSupportedInSsd[] = "TEST_NOT_SUPPORTED_IN_SSD";
inline constexpr char ForSsdsOnly[] = "TEST_APPLICABLE_FOR_SSDs_ONLY";
inline constexpr char SmartNotSupported[] = "SMART_NOT_SUPPORTED";
inline constexpr char CannotEnableSmart[] = "CANNOT_ENABLE_SMART";
inline constexpr char PasswordProtected[] = "HARD_DISK_IS_PASSWORD_PROTECTED";
inline constexpr char TryToDisablePassword[] = "TRY_TO_DISABLE_THE_PASSWORD_PROTECTION";

// Findings of reads.
inline constexpr char DeviceCommunicationFailure[] = "DEVICE_COMMUNICATION_FAILURE";
inline constexpr char CannotAccessDevice[] = "CANNOT_ACCESS_DEVICE";
inline constexpr char ReadOperationTimeout[] = "READ_OPERATION_TIMEOUT";
inline constexpr char ReadingSector[] = "READING_SECTOR";
inline constexpr char TooManyBadSectors[] = "TOO_MANY_BAD_SECTORS_FOUND";
inline constexpr char CannotReadLogs[] = "CANNOT_READ_ANYTHING_FROM_LOGS";
inline constexpr char BadSectorsFound[] = "BAD_SECTORS_WERE_FOUND";
inline constexpr char NumberOfBadBlocks[] = "NUMBER_OF_BLOCKS_WITH_BAD_SECTORS";
inline constexpr char BadSectorsInRange[] = "BAD_SECTORS_IN_THE_FOLLOWING_RANGE";

// SMART.
inline constexpr char SmartDataNotValid[] =
    "THIS_TEST_CANNOT_BE_PERFORMED_BECAUSE_THE_DATA_RECEIVED_FROM_THE_|S|M|A|R|T_DEVICE_IS_NOT_"
    "VALID";
inline constexpr char WearoutLimitReached[] = "SSD_HAS_REACHED_WEAROUT_LIMIT";
inline constexpr char WearoutLimitClose[] = "SSD_IS_CLOSE_TO_WEAROUT_LIMIT";
inline constexpr char HealthDegraded[] =
    "DEVICE'S_HEALTH_HAS_BEEN_DEGRADED._|PLEASE_CONSIDER_DOING_DATA_BACKUP.";
inline constexpr char DiskHealth[] = "DISK_HEALTH:";
inline constexpr char NoDeviceAttributes[] =
    "THIS_TEST_CANNOT_BE_PERFORMED_BECAUSE_THE_APPLICATION_WAS_UNABLE_TO_OBTAIN_THE_DEVICE_"
    "ATTRIBUTES";

// Self-tests of the drive.
inline constexpr char SmartDataNotCached[] =
    "THIS_TEST_CANNOT_BE_PERFORMED_BECAUSE_THE_|S|M|A|R|T_DATA_COULD_NOT_BE_CACHED";
inline constexpr char NoOfflineExecution[] =
    "THIS_TEST_CANNOT_BE_PERFORMED_BECAUSE_THE_DEVICE_DOES_NOT_SUPPORT_|OFFLINE_|EXECUTION";
inline constexpr char UnexpectedEvent[] =
    "THIS_TEST_CANNOT_BE_PERFORMED_BECAUSE_AN_UNEXPECTED_EVENT_HAS_OCURRED";
inline constexpr char ConveyanceNotSupported[] = "CONVEYANCE_TEST_NOT_SUPPORTED";
inline constexpr char CannotPerformSelfTest[] = "CANNOT_PERFORM_SELF_TEST";
inline constexpr char OtherSelfTestInProgress[] = "OTHER_SELF_TEST_ALREADY_IN_PROGRESS";
inline constexpr char OtherSelfTestAborted[] = "OTHER_SELF_TEST_ALREADY_IN_PROGRESS_WAS_ABORTED";
inline constexpr char CannotAbortOtherSelfTest[] =
    "CANNOT_ABORT_OTHER_SELF_TEST_ALREADY_IN_PROGRESS";
inline constexpr char InvalidParameterValue[] = "INVALID_PARAMETER_VALUE";
inline constexpr char FinishedWithTimeout[] = "TEST_FINISHED_WITH_TIMEOUT";
inline constexpr char AbortedByExternalFactor[] = "SELF_TEST_ABORTED_BY_EXTERNAL_FACTOR";
inline constexpr char CriticalInterruption[] = "CRITICAL_INTERRUPTION_DETECTED";
inline constexpr char UnknownErrorDetected[] = "UNKNOWN_ERROR_DETECTED";
inline constexpr char ElectricalErrorDetected[] = "ELECTRICAL_ERROR_DETECTED";
inline constexpr char SeekErrorDetected[] = "SEEK_ERROR_DETECTED";
inline constexpr char ReadErrorDetected[] = "READ_ERROR_DETECTED";
inline constexpr char HandlingDamageDetected[] = "HANDLING_DAMAGE_DETECTED";
inline constexpr char InconclusiveResult[] = "INCONCLUSIVE_RESULT";

// Parameters.
inline constexpr char StartRange[] = "START_RANGE";
inline constexpr char StartRangeLabel[] = "START_RANGE_(%)";
inline constexpr char StartRangeDescription[] = "DEFINES_THE_START_POINT_OF_TEST_AREA.";
inline constexpr char StopRange[] = "STOP_RANGE";
inline constexpr char StopRangeLabel[] = "STOP_RANGE_(%)";
inline constexpr char StopRangeDescription[] = "DEFINES_THE_END_POINT_OF_TEST_AREA.";
inline constexpr char CoverageArea[] = "COVERAGE_AREA";
inline constexpr char CoverageAreaLabel[] = "COVERAGE_AREA(%)";
inline constexpr char CoverageAreaDescription[] = "DEFINES_THE_COVERAGE_OF_TEST_AREA.";
inline constexpr char ErrorLimit[] = "ERROR_LIMIT";
inline constexpr char ErrorLimitDescription[] = "ERROR_LIMIT_DESCRIPTION";
inline constexpr char InvalidParameter[] = "INVALID_PARAMETER";
inline constexpr char DuplicatedParameter[] = "DUPLICATED_PARAMETER";
inline constexpr char UseNumber0To99[] = "USE_A_NUMERICAL_VALUE_BETWEEN_0_AND_99";
inline constexpr char UseNumber1To100[] = "USE_A_NUMERICAL_VALUE_BETWEEN_1_AND_100";
inline constexpr char UseNumber0To100[] = "USE_A_NUMERICAL_VALUE_BETWEEN_0_AND_100";
inline constexpr char StartNotBelowStop[] = "THE_START_VALUE_SHOULD_BE_LESS_THAN_THE_END_VALUE.";

}  // namespace ostria::storage::keys
