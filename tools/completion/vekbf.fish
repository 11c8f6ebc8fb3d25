# SPDX-License-Identifier: MIT
# Completion of vekbf for fish, made by tools/tables/make_tables.py.

set -l none 'not __fish_seen_subcommand_from process geometry track angle'

# Files are arguments of some subcommands only.
complete -c vekbf -n 'not __fish_seen_subcommand_from process track' -f

complete -c vekbf -n $none -f -a process -d 'Turn a multichannel recording into one beamformed signal'
complete -c vekbf -n $none -f -a geometry -d 'Draw an array, its angles, and what the library makes of the coordinates'
complete -c vekbf -n $none -f -a track -d 'Tell the direction of the talker over time, as lines SECONDS DEGREES'
complete -c vekbf -n $none -f -a angle -d 'Turn the beam that runs on this machine while it runs'
complete -c vekbf -n $none -l version -d 'Print the version'
complete -c vekbf -s h -l help -d 'Print the options'

complete -c vekbf -n '__fish_seen_subcommand_from process track' -l join -d 'All files but the last are mono, one per microphone'
complete -c vekbf -n '__fish_seen_subcommand_from process' -l out-dir -x -a '(__fish_complete_directories)' -d 'Folder for the results of several recordings'
complete -c vekbf -n '__fish_seen_subcommand_from process geometry track' -l config -r -F -d 'Take options from a file'
complete -c vekbf -n '__fish_seen_subcommand_from process track' -l rate -x -d 'Sample rate of raw input'
complete -c vekbf -n '__fish_seen_subcommand_from process track' -l raw-channels -x -d 'Channels of raw input'
complete -c vekbf -n '__fish_seen_subcommand_from process geometry track' -l array -x -a 'line: square: chime3-tablet matrix-creator respeaker-pi-4mic respeaker-usb-4mic' -d 'Shape or name of the array'
complete -c vekbf -n '__fish_seen_subcommand_from process geometry track' -l mic -x -d 'Position x,y of a microphone in metres'
complete -c vekbf -n '__fish_seen_subcommand_from process geometry track' -l geometry -x -a 'linear triangle' -d 'Kind of array'
complete -c vekbf -n '__fish_seen_subcommand_from process geometry track' -l sound-speed -x -d 'Metres per second'
complete -c vekbf -n '__fish_seen_subcommand_from process geometry' -l force -d 'Accept a rectangle or a circle'
complete -c vekbf -n '__fish_seen_subcommand_from process track' -l channels -x -d 'Channels to take, in microphone order'
complete -c vekbf -n '__fish_seen_subcommand_from process' -l algorithm -x -a 'fixed adaptive' -d 'Kind of beamformer'
complete -c vekbf -n '__fish_seen_subcommand_from process' -l intensity -x -d 'Strength of the gate, 0 to 10'
complete -c vekbf -n '__fish_seen_subcommand_from process' -l vad-threshold -x -d 'Detector threshold, 0 to 1'
complete -c vekbf -n '__fish_seen_subcommand_from process geometry' -l angle -x -a 'auto' -d 'Direction of the talker in degrees'
complete -c vekbf -n '__fish_seen_subcommand_from process' -l angle-track -r -F -d 'Angles that change with time'
complete -c vekbf -n '__fish_seen_subcommand_from process' -l angle-start -x -d 'Direction until a talker is heard'
complete -c vekbf -n '__fish_seen_subcommand_from process track' -l sector -x -d 'Degrees between which a talker is followed'
complete -c vekbf -n '__fish_seen_subcommand_from process track' -l hold -x -d 'Sound that a talker elsewhere needs, in seconds'
complete -c vekbf -n '__fish_seen_subcommand_from process track' -l focus -x -d 'How much softer a talker may be, in dB'
complete -c vekbf -n '__fish_seen_subcommand_from process track' -l pre-gain -x -d 'Gain in dB before the rounding to 16 bits'
complete -c vekbf -n '__fish_seen_subcommand_from process' -l keep-time -d 'Keep time through digital silence'
complete -c vekbf -n '__fish_seen_subcommand_from process' -l angle-track-out -r -F -d 'File for the angles that were found'
complete -c vekbf -n '__fish_seen_subcommand_from angle' -l angle-file -r -F -d 'Angle file of an ALSA definition'
complete -c vekbf -n '__fish_seen_subcommand_from track' -l every -x -d 'Time between two lines'
complete -c vekbf -n '__fish_seen_subcommand_from track' -l picture -r -F -d 'Picture of the degrees over time'
complete -c vekbf -n '__fish_seen_subcommand_from process' -l find-pre-gain -d 'Look for a gain without wraps'
complete -c vekbf -n '__fish_seen_subcommand_from process track' -l json -d 'Report in a line of JSON'
complete -c vekbf -n '__fish_seen_subcommand_from process track' -l verbose -d 'Show settings and counts'
