#include "bus/scripts.h"

namespace velmora::server::bus::scripts {

namespace {
// Items as bus/items.h writes them.
#define VELMORA_ITEM_LUA "local function item(kind, body) return kind .. #body .. ':' .. body end\n"
// A session's flags live beside its entry in velmora:online, which keeps the
// form "node name"; an announcement carries them after the name.
#define VELMORA_FLAGS_LUA                                                                          \
    "local function flags(key, value)\n"                                                           \
    "  if value == '' then redis.call('HDEL', 'velmora:flags', key) return '' end\n"               \
    "  redis.call('HSET', 'velmora:flags', key, value)\n"                                          \
    "  return ' ' .. value\n"                                                                      \
    "end\n"
#define VELMORA_ROOM_LUA                                                                           \
    "local function room(key)\n"                                                                   \
    "  local out = {redis.call('HGET', 'velmora:room-name', key) or key}\n"                        \
    "  for _, m in ipairs(redis.call('LRANGE', 'velmora:room:' .. key, 0, -1)) do\n"               \
    "    out[#out + 1] = m\n"                                                                      \
    "  end\n"                                                                                      \
    "  return out\n"                                                                               \
    "end\n"                                                                                        \
    "local function drop(key, name)\n"                                                             \
    "  redis.call('LREM', 'velmora:room:' .. key, 0, name)\n"                                      \
    "  local left = room(key)\n"                                                                   \
    "  if #left == 1 then redis.call('HDEL', 'velmora:room-name', key) end\n"                      \
    "  return left\n"                                                                              \
    "end\n"
} // namespace

// ARGV: key, node, name, flags ("r" for delivery receipts, or "").
const std::string_view kClaim = VELMORA_ITEM_LUA VELMORA_FLAGS_LUA R"(
local claim = redis.call('INCR', 'velmora:claims')
redis.call('HSET', 'velmora:online', ARGV[1], ARGV[2] .. ' ' .. ARGV[3])
local shown = flags(ARGV[1], ARGV[4])
redis.call('PUBLISH', 'velmora:all', item('+', claim .. ' ' .. ARGV[2] .. ' ' .. ARGV[3] .. shown))
return claim
)";

const std::string_view kRelease = VELMORA_ITEM_LUA R"(
local entry = ARGV[2] .. ' ' .. ARGV[3]
if redis.call('HGET', 'velmora:online', ARGV[1]) == entry then
  redis.call('HDEL', 'velmora:online', ARGV[1])
  redis.call('HDEL', 'velmora:flags', ARGV[1])
  redis.call('PUBLISH', 'velmora:all', item('-', entry))
end
return 1
)";

// ARGV: node, then key, name and flags of each of its users.
const std::string_view kResync = VELMORA_ITEM_LUA VELMORA_FLAGS_LUA R"(
local node = ARGV[1]
local mine, taken = {}, {}
for i = 2, #ARGV, 3 do
  local key, name = ARGV[i], ARGV[i + 1]
  local entry = redis.call('HGET', 'velmora:online', key)
  local holder = entry and string.match(entry, '^(%S+) ')
  if holder and holder ~= node and redis.call('EXISTS', 'velmora:alive:' .. holder) == 1 then
    taken[#taken + 1] = name
  else
    mine[key] = true
    local shown = flags(key, ARGV[i + 2])
    if entry ~= node .. ' ' .. name then
      local claim = redis.call('INCR', 'velmora:claims')
      redis.call('HSET', 'velmora:online', key, node .. ' ' .. name)
      redis.call('PUBLISH', 'velmora:all', item('+', claim .. ' ' .. node .. ' ' .. name .. shown))
    end
  end
end
local all = redis.call('HGETALL', 'velmora:online')
for i = 1, #all, 2 do
  if not mine[all[i]] and string.sub(all[i + 1], 1, #node + 1) == node .. ' ' then
    redis.call('HDEL', 'velmora:online', all[i])
    redis.call('HDEL', 'velmora:flags', all[i])
    redis.call('PUBLISH', 'velmora:all', item('-', all[i + 1]))
  end
end
return taken
)";

const std::string_view kReap = VELMORA_ITEM_LUA R"(
local gone = {}
for _, node in ipairs(redis.call('SMEMBERS', 'velmora:nodes')) do
  if redis.call('EXISTS', 'velmora:alive:' .. node) == 0 then
    redis.call('SREM', 'velmora:nodes', node)
    local all = redis.call('HGETALL', 'velmora:online')
    for i = 1, #all, 2 do
      if string.sub(all[i + 1], 1, #node + 1) == node .. ' ' then
        redis.call('HDEL', 'velmora:online', all[i])
        redis.call('HDEL', 'velmora:flags', all[i])
        gone[#gone + 1] = string.sub(all[i + 1], #node + 2)
      end
    end
    redis.call('PUBLISH', 'velmora:all', item('!', node))
  end
end
return gone
)";

const std::string_view kRoomOf = VELMORA_ROOM_LUA R"(
local key = redis.call('HGET', 'velmora:in-room', ARGV[1])
if not key then return false end
return room(key)
)";

const std::string_view kJoin = VELMORA_ROOM_LUA R"(
local user, name, key, shown, limit = ARGV[1], ARGV[2], ARGV[3], ARGV[4], tonumber(ARGV[5])
if redis.call('LLEN', 'velmora:room:' .. key) >= limit then
  return {'full', room(key), {}}
end
local left = {}
local before = redis.call('HGET', 'velmora:in-room', user)
if before then left = drop(before, name) end
if redis.call('LLEN', 'velmora:room:' .. key) == 0 then
  redis.call('HSET', 'velmora:room-name', key, shown)
end
redis.call('RPUSH', 'velmora:room:' .. key, name)
redis.call('HSET', 'velmora:in-room', user, key)
return {'ok', room(key), left}
)";

const std::string_view kLeave = VELMORA_ROOM_LUA R"(
local key = redis.call('HGET', 'velmora:in-room', ARGV[1])
if not key then return false end
redis.call('HDEL', 'velmora:in-room', ARGV[1])
return drop(key, ARGV[2])
)";

} // namespace velmora::server::bus::scripts
