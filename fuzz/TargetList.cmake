# SPDX-License-Identifier: MIT
# What is fuzzed. From this list come the fuzzers' programs, the table in Targets.h, and what scripts/fuzz runs.

set(KINLOOM_FUZZ_TARGETS
  # name         routine        dictionary
  contents       contents       reply.dict
  groups         groups         reply.dict
  comments       comments       reply.dict
  galleries      galleries      reply.dict
  upload_slot    uploadSlot     reply.dict
  identity       identity       reply.dict
  account        account        reply.dict
  records        records        reply.dict
  plain_error    plainError     error.dict
  date           date           date.dict
  download_path  downloadPath   url.dict
  file_name      fileName       url.dict
  shown_text     shownText      text.dict
  configuration  configuration  toml.dict
  url            url            url.dict
  service_url    serviceUrl     url.dict
  error_document errorDocument  reply.dict
  helper_message helperMessage  text.dict
  pairing_reply  pairingReply   error.dict
  request        request        request.dict
  browser        browser        request.dict
  http           http           http.dict
  form           form           form.dict
  multipart      multipart      multipart.dict
  service_text   serviceText    text.dict
  store_reply    storeReply     reply.dict
  picture        pictureHeader  picture.dict)

# kinloom_fuzz_table(FOLDER): writes FOLDER/TargetTable.inc, the rows of the table in Targets.h, and FOLDER/targets, a line with name
# and dictionary for each target.
function(kinloom_fuzz_table folder)
  set(rows "")
  set(lines "")
  set(rest ${KINLOOM_FUZZ_TARGETS})
  while(rest)
    list(POP_FRONT rest name routine dictionary)
    if(NOT EXISTS "${CMAKE_CURRENT_FUNCTION_LIST_DIR}/dictionaries/${dictionary}")
      message(FATAL_ERROR "fuzz/TargetList.cmake: the target '${name}' has no dictionary '${dictionary}'")
    endif()
    string(APPEND rows "{\"${name}\", ${routine}, \"${dictionary}\"},\n")
    string(APPEND lines "${name} ${dictionary}\n")
  endwhile()
  file(CONFIGURE OUTPUT "${folder}/TargetTable.inc" CONTENT "${rows}" @ONLY)
  file(CONFIGURE OUTPUT "${folder}/targets" CONTENT "${lines}" @ONLY)
endfunction()
