-- Wireshark dissector for the order-routing protocol. docs/wire.md describes the bytes.
--
--   wireshark -X lua_script:vek.lua capture.pcap
--   tshark -X lua_script:vek.lua -r capture.pcap -Y vek -V
--
-- or copy it to the folder of personal Lua plugins (Help, About, Folders). Connections are recognised
-- by their connect request; for one whose start was not captured, choose "Decode as", VEK. The byte order and
-- scrambling in the connect result apply to the packets after it. Passwords are masked in the output of this
-- file; Wireshark itself shows the captured bytes unchanged.

local vek = Proto("vek", "VEK order routing")

local CODES = {
  [0] = "connect", [1] = "heartbeat", [2] = "session", [3] = "piece", [128] = "task", [129] = "requests",
  [130] = "report", [131] = "acknowledgement 131",
}
local NAMES = {
  client = { [0] = "connect request", [128] = "query", [129] = "request batch" },
  server = { [0] = "connect result", [128] = "task result", [129] = "acknowledgement" },
}
local SESSION = {
  client = { [0] = "sign-on request", [1] = "password change" },
  server = { [1] = "password change result", [2] = "sign-on reply" },
}
local STARS = "********"

local f = {
  length = ProtoField.uint16("vek.length", "Length"),
  code = ProtoField.uint16("vek.code", "Code", base.DEC, CODES),
  name = ProtoField.string("vek.name", "Packet"),
  from = ProtoField.string("vek.from", "From"),
  application = ProtoField.string("vek.application", "Application"),
  version = ProtoField.string("vek.version", "Version"),
  server = ProtoField.string("vek.server", "Server"),
  order = ProtoField.string("vek.order", "Byte order"),
  mode = ProtoField.int8("vek.mode", "Scrambling mode"),
  key = ProtoField.bytes("vek.key", "Scrambling key"),
  refused = ProtoField.string("vek.refused", "Refused"),
  identity = ProtoField.string("vek.identity", "Identity"),
  password = ProtoField.string("vek.password", "Password"),
  user = ProtoField.string("vek.user", "User"),
  number = ProtoField.uint32("vek.number", "Reply number"),
  message = ProtoField.string("vek.message", "Message"),
  text_length = ProtoField.uint16("vek.text_length", "Text length"),
  work_id = ProtoField.string("vek.work_id", "Work id"),
  text = ProtoField.string("vek.text", "Text"),
  pieces = ProtoField.uint32("vek.pieces", "Pieces"),
}
for _, field in pairs(f) do vek.fields[#vek.fields + 1] = field end
local scrambled = ProtoExpert.new("vek.scrambled", "The key was agreed on before the capture began",
  expert.group.UNDECODED, expert.severity.NOTE)
local bad_length = ProtoExpert.new("vek.bad_length", "A packet length below 3", expert.group.MALFORMED,
  expert.severity.ERROR)
vek.experts = { scrambled, bad_length }

-- State learnt from each connection while its packets were seen for the first time: Wireshark revisits them
-- in any order.
local connections = {}
function vek.init() connections = {} end

local function connection_of(pinfo)
  local one = tostring(pinfo.src) .. ":" .. pinfo.src_port
  local other = tostring(pinfo.dst) .. ":" .. pinfo.dst_port
  local name = one < other and one .. " " .. other or other .. " " .. one
  local found = connections[name]
  if not found then
    found = { client = nil, ciphers = {}, joined = {}, pending = {} }
    connections[name] = found
  end
  return found, one
end

-- The last state learnt before a packet.
local function cipher_at(connection, frame, at)
  local found
  for _, cipher in ipairs(connection.ciphers) do
    if cipher.frame < frame or (cipher.frame == frame and cipher.at <= at) then found = cipher end
  end
  return found
end

-- A connect result may start with the same bytes: only the request has the line after the name.
local function is_connect_request(tvb)
  if tvb:len() < 36 or tvb(2, 1):uint() ~= 0 or bit32.band(tvb(1, 1):uint(), 0xF0) ~= 0 then return false end
  local at = 20 + tvb(16, 1):uint()
  return tvb(3, 1):uint() == 0 and tvb(4, 4):uint() == 0x78563412 and tvb:len() >= at + 16
    and tvb:raw(at, 16) == "VekSocketClient\n"
end

local function u16(cipher, range)
  if cipher.big then return range:uint() end
  return range:le_uint()
end

-- Text for people: 0x01 separates values.
local function shown(bytes)
  return (bytes:gsub("\1", " | "):gsub("\n$", ""):gsub("\n", " / "):gsub("[%z\2-\31]", "."))
end

local function text_of(tvb, at, length)
  if at >= tvb:len() then return "" end
  return tvb:raw(at, math.min(length, tvb:len() - at))
end

local function add_text(tree, field, tvb, at, length)
  if at <= tvb:len() then
    local there = math.min(length, tvb:len() - at)
    tree:add(field, tvb(at, there), shown(text_of(tvb, at, length)))
  end
end

local function version_of(tvb, at, read)
  local numbers = {}
  for i = 0, 3 do numbers[#numbers + 1] = tostring(read(tvb(at + 2 * i, 2))) end
  return table.concat(numbers, ".")
end

local function connect_request(tvb, tree)
  if tvb:len() < 20 then return end
  add_text(tree, f.application, tvb, 20, tvb(16, 1):uint())
  tree:add(f.version, tvb(8, 8), version_of(tvb, 8, function(range) return range:le_uint() end))
end

local function read_connect_result(tvb)
  local cipher = { big = tvb(4, 1):uint() ~= 0x78, mode = 0, key = "", items = {} }
  local at = 20 + tvb(16, 1):uint()
  local stop = math.min(at + u16(cipher, tvb(18, 2)), tvb:len())
  while stop - at > 3 do
    local tag, data = tvb(at, 1):uint(), u16(cipher, tvb(at + 1, 2))
    if at + 3 + tag + data > stop then break end
    local name = text_of(tvb, at + 3, tag)
    local where = at + 3 + tag
    if name == "ERROR\n" and tvb(3, 1):uint() == 1 then
      cipher.refused = { where, data }
      break
    end
    if name == "VekEnc\n" and data >= 2 and 2 + tvb(where + 1, 1):uint() <= data then
      cipher.mode, cipher.mode_at = tvb(where, 1):int(), where
      cipher.key = text_of(tvb, where + 2, tvb(where + 1, 1):uint())
    end
    at = where + data
  end
  return cipher
end

local function connect_result(tvb, tree)
  local cipher = read_connect_result(tvb)
  local name = text_of(tvb, 20, tvb(16, 1):uint())
  local version = version_of(tvb, 8, function(range) return u16(cipher, range) end)
  tree:add(f.server, tvb(16, 1), shown(name) .. "." .. version)
  tree:add(f.order, tvb(4, 4), cipher.big and "high byte first" or "low byte first")
  if cipher.mode_at then
    tree:add(f.mode, tvb(cipher.mode_at, 1))
    if #cipher.key > 0 then tree:add(f.key, tvb(cipher.mode_at + 2, #cipher.key)) end
  end
  if cipher.refused then add_text(tree, f.refused, tvb, cipher.refused[1], cipher.refused[2]) end
end

local function session_packet(tvb, tree, side, cipher)
  local subcode = tvb(3, 1):uint()
  if side == "client" and subcode == 0 and tvb:len() >= 12 then
    add_text(tree, f.identity, tvb, 12, tvb(4, 1):uint())
    tree:add(f.password, STARS)
  elseif side == "client" and subcode == 1 and tvb:len() >= 7 then
    add_text(tree, f.user, tvb, 7, tvb(4, 1):uint())
    tree:add(f.password, STARS)
  elseif side == "server" and subcode == 1 and tvb:len() >= 6 then
    add_text(tree, f.user, tvb, 6, tvb(4, 1):uint())
    add_text(tree, f.message, tvb, 6 + tvb(4, 1):uint(), tvb(5, 1):uint())
  elseif side == "server" and subcode == 2 and tvb:len() >= 11 then
    tree:add(f.number, tvb(7, 4), cipher.big and tvb(7, 4):uint() or tvb(7, 4):le_uint())
    add_text(tree, f.message, tvb, 11 + tvb(4, 1):uint(), u16(cipher, tvb(5, 2)))
  end
end

-- XOR after the header; the key restarts in every packet.
local function descrambled(tvb, key)
  local bytes = tvb:bytes()
  for i = 3, bytes:len() - 1 do
    bytes:set_index(i, bit32.bxor(bytes:get_index(i), key:byte((i - 3) % #key + 1)))
  end
  return bytes
end

-- The bytes with every possible password masked, for the view of descrambled bytes.
local function masked(bytes)
  local first = bytes:get_index(3) == 0 and 12 or 7
  if bytes:len() > 4 then first = first + bytes:get_index(4) end
  if bytes:get_index(3) > 1 then first = 4 end
  for i = first, bytes:len() - 1 do bytes:set_index(i, 0x2A) end
  return bytes
end

-- Text of a message, joined with its earlier pieces. The result is stored for the packet, because the pieces
-- are seen in order only once.
local function message_text(connection, side, id, tvb, cipher, code, first_time)
  local stated = tvb:len() >= 5 and u16(cipher, tvb(3, 2)) or 0
  local text = text_of(tvb, 5, stated)
  if first_time then
    local pending = connection.pending[side]
    if code == 3 then
      pending = pending or { count = 0, parts = {} }
      pending.count = pending.count + 1
      pending.parts[#pending.parts + 1] = text
      connection.pending[side] = pending
    elseif pending then
      pending.parts[#pending.parts + 1] = text
      connection.joined[id] = { text = table.concat(pending.parts), pieces = pending.count + 1 }
      connection.pending[side] = nil
    end
  end
  local joined = connection.joined[id]
  return joined and joined.text or text, joined and joined.pieces
end

local function add_message(tvb, tree, side, cipher, code, text, pieces)
  if tvb:len() >= 5 then tree:add(f.text_length, tvb(3, 2), u16(cipher, tvb(3, 2))) end
  if pieces then tree:add(f.pieces, pieces) end
  if code == 128 and #text > 0 then
    if side == "server" then
      tree:add(f.work_id, shown(text:sub(2, 1 + text:byte(1))))
      local at = 2 + text:byte(1)
      local low, high = text:byte(at, at + 1)
      at = at + ((low == 255 and high == 255) and 6 or 2)
      text = text:sub(at)
    else
      tree:add(f.work_id, text:match("^[^ \n\1]*"))
    end
  end
  tree:add(f.text, shown(text))
end

local function body(tvb, pinfo, tree, connection, side, code, cipher, id)
  if tvb:len() <= 3 then return end
  if code == 0 then
    if side == "client" then connect_request(tvb, tree) elseif tvb:len() >= 20 then connect_result(tvb, tree) end
    return
  end
  if not cipher then
    tree:add_proto_expert_info(scrambled)
    return
  end
  if #cipher.key > 0 and (side == "server" or cipher.mode == 1) then
    local bytes = descrambled(tvb, cipher.key)
    if code == 2 and side == "client" then bytes = masked(bytes) end
    tvb = bytes:tvb("Descrambled")
  end
  if code == 2 then
    session_packet(tvb, tree, side, cipher)
  else
    local text, pieces = message_text(connection, side, id, tvb, cipher, code, not pinfo.visited)
    add_message(tvb, tree, side, cipher, code, text, pieces)
  end
end

local function name_of(tvb, code, side, cipher)
  if code == 2 and tvb:len() > 3 and cipher then
    local subcode = tvb(3, 1):uint()
    if #cipher.key > 0 and (side == "server" or cipher.mode == 1) then
      subcode = bit32.bxor(subcode, cipher.key:byte(1))
    end
    return SESSION[side][subcode] or "session packet"
  end
  return NAMES[side][code] or CODES[code] or ("code " .. code)
end

-- One complete packet.
local function packet(tvb, pinfo, root)
  local connection, source = connection_of(pinfo)
  local length = bit32.band(tvb(1, 1):uint(), 0x0F) * 256 + tvb(0, 1):uint()
  local code = bit32.band(tvb(1, 1):uint(), 0xF0) * 16 + tvb(2, 1):uint()
  if length < 3 then
    root:add(vek, tvb()):add_proto_expert_info(bad_length)
    return tvb:len()
  end
  if code == 0 and is_connect_request(tvb) then connection.client = source end
  if not connection.client then
    connection.client = pinfo.dst_port < pinfo.src_port and source or "?"
  end
  local side = connection.client == source and "client" or "server"
  local at = tvb:offset()
  if code == 0 and side == "server" and not pinfo.visited and tvb:len() >= 20 then
    local cipher = read_connect_result(tvb)
    cipher.frame, cipher.at = pinfo.number, at
    connection.ciphers[#connection.ciphers + 1] = cipher
  end
  local cipher = cipher_at(connection, pinfo.number, at)
  local name = name_of(tvb, code, side, cipher)
  local tree = root:add(vek, tvb(), "VEK, " .. name)
  tree:add(f.from, side)
  tree:add(f.length, tvb(0, 2), length)
  tree:add(f.code, tvb(1, 2), code)
  tree:add(f.name, name)
  pinfo.cols.protocol = "VEK"
  local info = tostring(pinfo.cols.info)
  pinfo.cols.info = (connection.shown == pinfo.number and info .. ", " or "") .. name
  connection.shown = pinfo.number
  body(tvb, pinfo, tree, connection, side, code, cipher, pinfo.number .. ":" .. at)
  return tvb:len()
end

local function length_of(tvb, pinfo, offset)
  return math.max(bit32.band(tvb(offset + 1, 1):uint(), 0x0F) * 256 + tvb(offset, 1):uint(), 3)
end

function vek.dissector(tvb, pinfo, root)
  connection_of(pinfo).shown = nil
  dissect_tcp_pdus(tvb, root, 3, length_of, packet)
  return tvb:len()
end

vek:register_heuristic("tcp", function(tvb, pinfo, root)
  if not is_connect_request(tvb) then return false end
  pinfo.conversation = vek
  vek.dissector(tvb, pinfo, root)
  return true
end)
DissectorTable.get("tcp.port"):add_for_decode_as(vek)
