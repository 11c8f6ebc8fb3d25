-- SPDX-License-Identifier: MIT
-- Links to documents become links to their pages; the README is the first page.
function Link(link)
  if link.target:match('^%a+:') then return link end
  link.target = link.target:gsub('%.%./README%.md', '../index.html', 1):gsub('%.md', '.html', 1)
  return link
end
