# SPDX-License-Identifier: MIT
# Completion of vekbf for fish.

set -l none 'not __fish_seen_subcommand_from process geometry'
set -l either '__fish_seen_subcommand_from process geometry'
set -l process '__fish_seen_subcommand_from process'

# Files are arguments of process only.
complete -c vekbf -n "not $process" -f

complete -c vekbf -n $none -f -a process -d 'Turn a multichannel recording into one beamformed signal'
complete -c vekbf -n $none -f -a geometry -d 'Draw an array and its angles'
complete -c vekbf -n $none -l version -d 'Print the version'
complete -c vekbf -s h -l help -d 'Print the options'

complete -c vekbf -n $either -l config -r -F -d 'Take options from a file'
complete -c vekbf -n $either -l array -x -a 'line: square:' -d 'Shape of the array'
complete -c vekbf -n $either -l mic -x -d 'Position x,y of a microphone in metres'
complete -c vekbf -n $either -l geometry -x -a 'linear triangle rectangle circular' -d 'Kind of array'
complete -c vekbf -n $either -l sound-speed -x -d 'Metres per second'
complete -c vekbf -n $either -l force -d 'Take a rectangle or a circle all the same'
complete -c vekbf -n $either -l angle -x -d 'Direction of the talker in degrees'

complete -c vekbf -n $process -l join -d 'All files but the last are mono, one per microphone'
complete -c vekbf -n $process -l out-dir -x -a '(__fish_complete_directories)' -d 'Folder for the results'
complete -c vekbf -n $process -l channels -x -d 'Channels to take, in microphone order'
complete -c vekbf -n $process -l rate -x -d 'Sample rate of raw input in Hz'
complete -c vekbf -n $process -l raw-channels -x -d 'Channels of raw input'
complete -c vekbf -n $process -l algorithm -x -a 'fixed adaptive' -d 'Kind of beamformer'
complete -c vekbf -n $process -l angle-track -r -F -d 'Angles that change with time'
complete -c vekbf -n $process -l vad-threshold -x -d 'Detector threshold, 0 to 1'
complete -c vekbf -n $process -l intensity -x -d 'Strength of the gate, 0 to 10'
complete -c vekbf -n $process -l pre-gain -x -d 'Gain in dB before the rounding to 16 bits'
complete -c vekbf -n $process -l keep-time -d 'Let time go on through blocks of zeros'
complete -c vekbf -n $process -l find-pre-gain -d 'Look for a gain without wraps'
complete -c vekbf -n $process -l json -d 'Report in a line of JSON'
complete -c vekbf -n $process -l verbose -d 'Show settings and counts'
