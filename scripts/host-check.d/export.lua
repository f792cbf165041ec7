-- ardour7-lua export.lua DIR NAME SAMPLES OUT-FOLDER OUT-NAME [save]
-- Opens the session on the Dummy backend, exports its master bus from 0 to SAMPLES as a 32-bit
-- float WAV (the host-check preset), and with "save" saves the session from Ardour afterwards.
local dir, name, samples, folder, out, save = arg[1], arg[2], tonumber(arg[3]), arg[4], arg[5], arg[6]

local function die(msg) print("export.lua: " .. msg) os.exit(1) end

AudioEngine:set_backend("None (Dummy)", "", "")
if not load_session(dir, name) then die("cannot open the session") end

for r in Session:get_routes():iter() do
	local t = r:to_track()
	if not t:isnil() then
		local inst = r:the_instrument()
		print("track " .. r:name() .. ": " .. (inst:isnil() and "no instrument" or inst:display_name())
			.. ", " .. t:playlist():n_regions() .. " region(s)")
	end
end

local e = Session:simple_export()
if not e:set_preset("6e0bc0a6-3c43-4d2d-8d07-2a3b1a1b9e01") then die("no host-check export preset") end
e:set_folder(folder)
e:set_name(out)
e:set_range(0, samples)
if not e:run_export() then die("the export failed") end
print("exported " .. samples .. " samples to " .. folder .. "/" .. out .. ".wav")

if save == "save" then
	Session:save_state("", false, false, false)
	print("session saved")
end
close_session()
