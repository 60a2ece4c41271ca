# Runs qvt-stream and checks its exit status and output.
#   MODE=connection_failure: a missing port fails with status 1 and one line.
#   MODE=emulated: a short stream after an impedance check, through a link
#   that drops packets, succeeds and ends with the channel table.
#   MODE=narrow: at 600 Hz over a line too narrow for it, the blocks that do
#   not fit are lost and reported as gaps, not delivered ever later.
#   MODE=silent: a headset that falls silent ends the stream soon after the
#   5 s wait for data, with the summary and status 1, instead of retrying a
#   stop command for 20 s.
#   MODE=lost_output: streaming until Ctrl-C stops with status 1 when its
#   pipe's reader has gone (| head -c 1) or its output cannot be written
#   (/dev/full), instead of running on for nobody.
#   MODE=garbage: SECONDS of streaming from a headset that mixes blocks of
#   random packets into its data succeed, and samples keep arriving.
if(MODE STREQUAL "connection_failure")
  execute_process(COMMAND ${STREAM} --port /nonexistent --seconds 1
    RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err TIMEOUT 60)
  if(NOT status EQUAL 1)
    message(FATAL_ERROR "exit status ${status}, expected 1; stderr: ${err}")
  endif()
  if(NOT err MATCHES "^qvt-stream: [^\n]*/nonexistent[^\n]*\n$")
    message(FATAL_ERROR "expected one qvt-stream line on stderr, got:\n${err}")
  endif()
elseif(MODE STREQUAL "emulated")
  execute_process(COMMAND ${EMULATOR} --drop 0.01 --seed 3 -- ${STREAM} --seconds 4 --impedance 1
    RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err TIMEOUT 120)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "exit status ${status}\nstdout:\n${out}\nstderr:\n${err}")
  endif()
  foreach(expected "Headset +[^\n]*serial number" "Montage +[1-9][0-9]* channels" "kOhm +(good|poor)"
                   "[1-9][0-9]* samples in [0-9.]+ s" "\nchannel +mean +rms +sd +impedance\n")
    if(NOT out MATCHES "${expected}")
      message(FATAL_ERROR "output lacks \"${expected}\":\n${out}\nstderr:\n${err}")
    endif()
  endforeach()
elseif(MODE STREQUAL "narrow")
  execute_process(COMMAND ${EMULATOR} --slow --rate 600 -- ${STREAM} --seconds 3
    RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err TIMEOUT 120)
  if(NOT status EQUAL 0 OR NOT out MATCHES "\n[0-9]+ samples in [0-9.]+ s[^\n]* [1-9][0-9]* lost in")
    message(FATAL_ERROR "exit status ${status}, expected samples lost in gaps:\n${out}")
  endif()
elseif(MODE STREQUAL "silent")
  # Silent while streaming (the summary is still told), and while measuring
  # impedances.
  foreach(phase "--seconds;60;samples in" "--impedance;60;Measuring impedances")
    list(POP_BACK phase told)
    string(TIMESTAMP begun "%s" UTC)
    execute_process(COMMAND ${EMULATOR} --silent-after 5 -- ${STREAM} ${phase}
      RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err TIMEOUT 120)
    string(TIMESTAMP ended "%s" UTC)
    math(EXPR seconds "${ended} - ${begun}")
    # Connecting and data for 5 s, 4.5 s of silence and room for a busy
    # machine; retrying the stop commands took 20 s and more.
    if(NOT status EQUAL 1 OR NOT err MATCHES "no data from the headset" OR NOT out MATCHES "${told}"
       OR seconds GREATER 16)
      message(FATAL_ERROR "${phase}: status ${status} after ${seconds} s\nstdout:\n${out}\nstderr:\n${err}")
    endif()
  endforeach()
elseif(MODE STREQUAL "lost_output")
  execute_process(COMMAND ${EMULATOR} -- ${STREAM} COMMAND head -c 1
    RESULTS_VARIABLE statuses OUTPUT_QUIET ERROR_VARIABLE err TIMEOUT 60)
  if(NOT statuses MATCHES "^1;0$" OR NOT err MATCHES "qvt-stream: [^\n]*[Bb]roken pipe")
    message(FATAL_ERROR "closed pipe: statuses ${statuses}, expected 1;0\nstderr:\n${err}")
  endif()
  execute_process(COMMAND ${EMULATOR} -- ${STREAM} OUTPUT_FILE /dev/full
    RESULT_VARIABLE status ERROR_VARIABLE err TIMEOUT 60)
  if(NOT status EQUAL 1 OR NOT err MATCHES "qvt-stream: [^\n]*No space left on device")
    message(FATAL_ERROR "full disk: status ${status}, expected 1\nstderr:\n${err}")
  endif()
elseif(MODE STREQUAL "garbage")
  execute_process(COMMAND ${EMULATOR} --garbage 0.2 --seed 7 -- ${STREAM} --seconds ${SECONDS}
    RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err TIMEOUT 300)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "exit status ${status}\nstdout:\n${out}")
  endif()
  # At 300 Hz, with the garbage's own data packets counted or not.
  math(EXPR fewest "250 * ${SECONDS}")
  if(NOT out MATCHES "\n([0-9]+) samples in" OR CMAKE_MATCH_1 LESS fewest)
    message(FATAL_ERROR "fewer than ${fewest} samples:\n${out}")
  endif()
else()
  message(FATAL_ERROR "unknown MODE \"${MODE}\"")
endif()
