-- Wireshark dissector for the discovery helper's announcement datagrams (UDP port 50999).
--
--   offset 0  u32 length       the whole datagram, header included: 14 + textLength
--          4  u16 messageType  5009 announce, 5010 withdraw
--          6  u16 sequence     changes when the instrument's data change, never 0
--          8  u16 zero word    0
--         10  u16 one word     1
--         12  u16 textLength   bytes of text that follow, every terminator included
--         14  nine zero-terminated texts, then one more zero byte
-- All integers are little-endian.
--
-- Load it with:  wireshark -X lua_script:tools/wireshark/lumo_discovery.lua
--           or:  tshark -X lua_script:tools/wireshark/lumo_discovery.lua -r capture.pcap
-- or copy it into the personal plugins folder (Help > About Wireshark > Folders).

local PORT = 50999
local HEADER_SIZE = 14

local proto = Proto("lumo_discovery", "Lumo Discovery Announcement")

local message_types = { [5009] = "Announce", [5010] = "Withdraw" }
local text_names = {
    { "model", "Model" },
    { "name", "Instrument name" },
    { "version1", "Version 1" },
    { "version2", "Version 2" },
    { "state", "State" },
    { "interval", "Re-announce interval (ms)" },
    { "reserved1", "Reserved 1" },
    { "reserved_text", "Reserved text" },
    { "reserved2", "Reserved 2" },
}

local f = {
    length = ProtoField.uint32("lumo_discovery.length", "Length", base.DEC),
    type = ProtoField.uint16("lumo_discovery.type", "Message type", base.DEC, message_types),
    sequence = ProtoField.uint16("lumo_discovery.sequence", "Sequence", base.DEC),
    zero_word = ProtoField.uint16("lumo_discovery.zero_word", "Zero word", base.DEC),
    one_word = ProtoField.uint16("lumo_discovery.one_word", "One word", base.DEC),
    text_length = ProtoField.uint16("lumo_discovery.text_length", "Text length", base.DEC),
}
for _, text in ipairs(text_names) do
    f[text[1]] = ProtoField.string("lumo_discovery." .. text[1], text[2])
end
local field_list = {}
for _, field in pairs(f) do
    table.insert(field_list, field)
end
proto.fields = field_list

local e_length = ProtoExpert.new("lumo_discovery.bad_length", "Length disagrees with the datagram",
    expert.group.MALFORMED, expert.severity.WARN)
local e_terminator = ProtoExpert.new("lumo_discovery.no_terminator", "Text without terminator",
    expert.group.MALFORMED, expert.severity.WARN)
local e_type = ProtoExpert.new("lumo_discovery.unknown_type", "Unknown message type",
    expert.group.PROTOCOL, expert.severity.WARN)
local e_short = ProtoExpert.new("lumo_discovery.short", "Shorter than the 14-byte header",
    expert.group.MALFORMED, expert.severity.WARN)
proto.experts = { e_length, e_terminator, e_type, e_short }

-- The offset of the first zero byte at or after `offset`, or nil.
local function find_zero(buffer, offset, size)
    for i = offset, size - 1 do
        if buffer(i, 1):uint() == 0 then
            return i
        end
    end
    return nil
end

function proto.dissector(buffer, pinfo, tree)
    local size = buffer:len()
    pinfo.cols.protocol = "LUMO-DDS"
    local root = tree:add(proto, buffer(), "Lumo Discovery Announcement")
    if size < HEADER_SIZE then
        root:add_proto_expert_info(e_short)
        pinfo.cols.info = "Malformed announcement (" .. size .. " bytes)"
        return size
    end

    local length = buffer(0, 4):le_uint()
    local length_item = root:add_le(f.length, buffer(0, 4))
    if length ~= size then
        length_item:add_proto_expert_info(e_length,
            "Length " .. length .. " but the datagram has " .. size .. " bytes")
    end
    local message_type = buffer(4, 2):le_uint()
    local type_item = root:add_le(f.type, buffer(4, 2))
    if message_types[message_type] == nil then
        type_item:add_proto_expert_info(e_type)
    end
    local sequence = buffer(6, 2):le_uint()
    root:add_le(f.sequence, buffer(6, 2))
    root:add_le(f.zero_word, buffer(8, 2))
    root:add_le(f.one_word, buffer(10, 2))
    local text_length = buffer(12, 2):le_uint()
    local text_length_item = root:add_le(f.text_length, buffer(12, 2))
    if HEADER_SIZE + text_length ~= size then
        text_length_item:add_proto_expert_info(e_length,
            "Text length " .. text_length .. " but " .. (size - HEADER_SIZE) .. " bytes follow")
    end

    local offset = HEADER_SIZE
    local texts = {}
    for _, text in ipairs(text_names) do
        if offset >= size then
            root:add_proto_expert_info(e_terminator, text[2] .. " is missing")
            break
        end
        local zero = find_zero(buffer, offset, size)
        if zero == nil then
            local rest = buffer(offset, size - offset)
            local item = root:add(f[text[1]], rest, rest:string(ENC_UTF_8))
            item:add_proto_expert_info(e_terminator, text[2] .. " has no terminator")
            offset = size
            break
        end
        local value = zero > offset and buffer(offset, zero - offset):string(ENC_UTF_8) or ""
        root:add(f[text[1]], buffer(offset, zero - offset + 1), value)
        texts[text[1]] = value
        offset = zero + 1
    end
    if offset >= size or buffer(offset, 1):uint() ~= 0 then
        root:add_proto_expert_info(e_terminator, "No closing zero byte after the texts")
    end

    local kind = message_types[message_type] or ("Type " .. message_type)
    pinfo.cols.info = string.format("%s seq=%d %s %s %s/%s", kind, sequence,
        texts.model or "?", texts.name or "?", texts.version1 or "?", texts.version2 or "?")
    return size
end

DissectorTable.get("udp.port"):add(PORT, proto)
