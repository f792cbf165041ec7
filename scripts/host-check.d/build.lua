-- ardour7-lua build.lua DIR NAME RATE BPM SAMPLES PLUGIN-TYPE PLUGIN-NAME
-- A new session on the Dummy backend: the tempo of the song, one MIDI track with the instrument,
-- and one empty MIDI region of SAMPLES, which the next step fills with the song (Ardour's Lua
-- API cannot import a MIDI file without the editor).
local dir, name, rate, bpm, samples, ptype, pname = arg[1], arg[2], tonumber(arg[3]), tonumber(arg[4]), tonumber(arg[5]), arg[6], arg[7]

local function die(msg) print("build.lua: " .. msg) os.exit(1) end

AudioEngine:set_backend("None (Dummy)", "", "")
if not create_session(dir, name, rate) then die("cannot create the session") end

local tm = Temporal.TempoMap.write_copy()
tm:set_tempo(Temporal.Tempo(bpm, bpm, 4), Temporal.timepos_t(0))
Temporal.TempoMap.update(tm)

local types = { lv2 = ARDOUR.PluginType.LV2, lxvst = ARDOUR.PluginType.LXVST }
local info = ARDOUR.LuaAPI.new_plugin_info(pname, types[ptype])
if info:isnil() then die("Ardour knows no " .. ptype .. " plug-in " .. pname) end

local tracks = Session:new_midi_track(
	ARDOUR.ChanCount(ARDOUR.DataType("midi"), 1), ARDOUR.ChanCount(ARDOUR.DataType("midi"), 1),
	true, info, nil, nil, 1, "Song", ARDOUR.PresentationInfo.max_order, ARDOUR.TrackMode.Normal, true)
local track
for t in tracks:iter() do track = t end
if not track then die("cannot add the MIDI track") end
local inst = track:the_instrument()
if inst:isnil() then die("the track has no instrument") end
print("instrument: " .. inst:display_name() .. ", track outputs: " .. track:n_outputs():n_audio())

-- Bouncing the still empty track makes an (empty) MIDI region with its own file in the session.
local region = track:bounce_range(0, samples, ARDOUR.InterThreadInfo(), ARDOUR.LuaAPI.nil_proc(), false, "song", false)
if region:isnil() then die("cannot make the MIDI region") end
track:playlist():add_region(region, Temporal.timepos_t(0), 1, false)

Session:save_state("", false, false, false)
close_session()
print("session built")
