/*
 * The records as the interface has them: sizes, alignments, the place and the type of every member.
 *
 * For a file that has defined ABI_CHECK(name, condition), a check at compile time,
 * ABI_ALIGN(type) and ABI_IS(record, member, type). These are what applications were compiled
 * against: where one disagrees with the header, the header is wrong.
 */
#define ABI_RECORD(name, record, size, align)               \
  ABI_CHECK(name##_has_its_size, sizeof(record) == (size)); \
  ABI_CHECK(name##_has_its_alignment, ABI_ALIGN(record) == (align))
#define ABI_MEMBER(name, record, member, offset, type)                     \
  ABI_CHECK(name##_is_in_its_place, offsetof(record, member) == (offset)); \
  ABI_CHECK(name##_has_its_type, ABI_IS(record, member, type))

ABI_RECORD(result, ZorResult, 4, 4);
ABI_CHECK(results_are_numbered, ZOR_SUCCESS == 0 && ZOR_TRANSPORT_FAILURE == 1 &&
                                    ZOR_NOT_CONNECTED == 2 && ZOR_UNKNOWN_ALGORITHM == 3);

ABI_RECORD(server_info, ZorServerInfo, 16, 4);
ABI_MEMBER(server_info_info0, ZorServerInfo, info0, 0, uint32_t);
ABI_MEMBER(server_info_info1, ZorServerInfo, info1, 4, uint32_t);
ABI_MEMBER(server_info_info2, ZorServerInfo, info2, 8, uint32_t);
ABI_MEMBER(server_info_info3, ZorServerInfo, info3, 12, uint32_t);

ABI_RECORD(text_param, ZorTextParam, 16, 8);
ABI_MEMBER(text_param_name, ZorTextParam, name, 0, const char*);
ABI_MEMBER(text_param_value, ZorTextParam, value, 8, const char*);

ABI_RECORD(float_param, ZorFloatParam, 16, 8);
ABI_MEMBER(float_param_name, ZorFloatParam, name, 0, const char*);
ABI_MEMBER(float_param_value, ZorFloatParam, value, 8, float);

ABI_RECORD(blob, ZorBlob, 24, 8);
ABI_MEMBER(blob_name, ZorBlob, name, 0, char*);
ABI_MEMBER(blob_size, ZorBlob, size, 8, uint32_t);
ABI_MEMBER(blob_data, ZorBlob, data, 16, uint8_t*);

ABI_RECORD(name_list, ZorNameList, 16, 8);
ABI_MEMBER(name_list_count, ZorNameList, count, 0, uint32_t);
ABI_MEMBER(name_list_items, ZorNameList, items, 8, char**);

ABI_RECORD(flag_payload, ZorFlagPayload, 1, 1);
ABI_MEMBER(flag_payload_flag, ZorFlagPayload, flag, 0, bool);
ABI_RECORD(value_payload, ZorValuePayload, 4, 4);
ABI_MEMBER(value_payload_value, ZorValuePayload, value, 0, uint32_t);
ABI_RECORD(flag_text_payload, ZorFlagTextPayload, 16, 8);
ABI_MEMBER(flag_text_payload_flag, ZorFlagTextPayload, flag, 0, bool);
ABI_MEMBER(flag_text_payload_text, ZorFlagTextPayload, text, 8, const char*);
ABI_RECORD(value_text_payload, ZorValueTextPayload, 16, 8);
ABI_MEMBER(value_text_payload_value, ZorValueTextPayload, value, 0, uint32_t);
ABI_MEMBER(value_text_payload_text, ZorValueTextPayload, text, 8, const char*);

/* Flags and values share the union's first place, and every text has the second. */
ABI_RECORD(event, ZorEvent, 24, 8);
ABI_MEMBER(event_type, ZorEvent, type, 0, uint32_t);
ABI_MEMBER(event_0, ZorEvent, data.event0, 8, ZorFlagPayload);
ABI_MEMBER(event_1, ZorEvent, data.event1, 8, ZorValuePayload);
ABI_MEMBER(event_2, ZorEvent, data.event2, 8, ZorFlagPayload);
ABI_MEMBER(event_3, ZorEvent, data.event3, 8, ZorValuePayload);
ABI_MEMBER(event_4, ZorEvent, data.event4, 8, ZorFlagTextPayload);
ABI_MEMBER(event_4_text, ZorEvent, data.event4.text, 16, const char*);
ABI_MEMBER(event_5, ZorEvent, data.event5, 8, ZorValueTextPayload);
ABI_MEMBER(event_5_text, ZorEvent, data.event5.text, 16, const char*);

ABI_RECORD(event_callback, ZorEventCallback, 8, 8);
