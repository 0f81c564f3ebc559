#pragma once
// The script of the range tests' show, on the example show's generated
// content at 25 fps (40 ms and 1764 sample frames a frame): an image
// sequence moving, a picture fading, music started in frame 0 at 1.5 s into
// the tune, the planet scene from frame 9 with a shake and a camera switch
// in frame 19, "settime" jumping the script from 1000 to 2000 in frame 26,
// a cross-fade into the hall from frame 37 (inside "wait 500"), a volume
// change in frame 50 and the end in frame 61. Renders of ranges and the
// preview's jumps are both checked against a whole render of it.
inline const char* const kRangeTestScript =
    "loadimage backdrop.jpg back\nloadimage spin.seq spin\nloadimage orb.png orb\n"
    "loadscene orbit.vxk orbit\nloadscene hall.vxk hall\nloadmusic tune.mp3 tune\n"
    "settime 0\n"
    "setlayer back -20\n"
    "setlayer spin 14\nsetlayeradditive 14 1\nsetlayerpos 14 300 200\nsetlayerposdelta 14 -80 30\n"
    "setlayer orb 12\nsetlayeralphadelta 12 -0.4\n"
    "playmusic tune 1500\n"
    "waituntil 320\nplayscene orbit 1\nsetscenetime 0\nremovelayer -20\n"
    "waituntil 720\nshakecamera 80000 2.5 2 0.5 0.04\nsetactivecamera Ring\n"
    "waituntil 1000\nsettime 2000\nsetlayeralpha 12 1\n"
    "waituntil 2400\nxfadescene hall 600 0 1\n"
    "wait 500\nsetvolume 128\n"
    "wait 400\n";
